#include "benchmarks/comparison.h"
#include "benchmarks/spread.h"
#include "benchmarks/text_table.h"
#include "benchmarks/waiting/process_sample.h"
#include "benchmarks/waiting/rehearsal_process.h"

#include <chrono>
#include <iostream>
#include <stdexcept>
#include <thread>

namespace marrow {

namespace {

using Seconds = std::chrono::duration<double>;

// The operations before the migrator are over by then, and it still runs long enough.
constexpr Seconds kLead(3);
constexpr Seconds kWindow(50);
constexpr Seconds kShortWindow(2);

struct Window {
  Seconds length;
  ProcessSample start;
  ProcessSample end;
};

ProcessSample sample(pid_t daemon) {
  const auto found = sampleOf(daemon);
  if (!found) {
    throw std::runtime_error("The daemon ended while it was to wait for the migrator.");
  }
  return *found;
}

Window watchWait(const BenchOptions& options, const std::string& migrator) {
  const RehearsalProcess rehearsal(options, {"--migrator", migrator});
  const pid_t daemon = rehearsal.daemon();
  std::this_thread::sleep_for(kLead);
  const auto begin = std::chrono::steady_clock::now();
  Window window{};
  window.start = sample(daemon);
  std::this_thread::sleep_for(options.isShort ? kShortWindow : kWindow);
  window.end = sample(daemon);
  window.length = std::chrono::steady_clock::now() - begin;
  return window;
}

std::vector<std::string> row(const std::string& name, const Window& window) {
  const double wakeUps = static_cast<double>(window.end.wakeUps - window.start.wakeUps);
  const double time = static_cast<double>(window.end.nanoseconds - window.start.nanoseconds);
  const double seconds = window.length.count();
  return {name,
          numberText(wakeUps / seconds, 2),
          numberText(time / 1000 / seconds, 0),
          numberText(wakeUps > 0 ? time / 1000 / wakeUps : 0, 0),
          std::to_string(window.start.residentKibibytes),
          std::to_string(window.end.residentKibibytes),
          std::to_string(window.end.mostKibibytes),
          std::to_string(window.end.threads),
          std::to_string(window.end.descriptors)};
}

}  // namespace

void measureWaiting(const BenchOptions& options) {
  std::cout << "## While the migrator runs\n\n";
  TextTable table({"migrator", "wake-ups a second", "µs of processor a second", "µs a wake-up",
                   "resident before, KiB", "and after", "most ever", "threads", "descriptors"});
  table.add(row("never reports", watchWait(options, MARROW_SILENT_MIGRATOR)));
  table.add(row("reports 100 times a second", watchWait(options, MARROW_REPORTING_MIGRATOR)));
  table.print(std::cout);
  std::cout << std::endl;
}

}  // namespace marrow
