#include "benchmarks/comparison.h"
#include "benchmarks/machine/prepared_machine.h"
#include "benchmarks/machine/screen_reader.h"
#include "benchmarks/spread.h"
#include "benchmarks/text_table.h"
#include "benchmarks/waiting/process_sample.h"
#include "benchmarks/waiting/punctuality.h"

#include <chrono>
#include <iostream>
#include <stdexcept>
#include <thread>

namespace marrow {

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

// The operations before the migrator are over by then, and it still runs long enough.
constexpr Seconds kLead(3);
constexpr Seconds kWindow(50);
constexpr Seconds kShortWindow(2);

struct Window {
  double seconds = 0;
  ProcessSample start;
  ProcessSample end;
  Punctuality ticks;
};

ProcessSample sample(pid_t machine) {
  const auto daemon = descendantNamed(machine, "marrowd");
  const auto found = daemon ? sampleOf(*daemon) : std::nullopt;
  if (!found) {
    throw std::runtime_error("The daemon ended while it was to wait for the migrator.");
  }
  return *found;
}

// At each tick the daemon draws the screen.
std::vector<Clock::time_point> drawnBetween(const ScreenReader& screens, Clock::time_point begin,
                                            Clock::time_point end) {
  std::vector<Clock::time_point> moments;
  for (const Arrival& arrival : screens.screen()) {
    if (arrival.when >= begin && arrival.when <= end) {
      moments.push_back(arrival.when);
    }
  }
  return moments;
}

Window watchWindow(rehearsal::MachineSettings settings, Seconds length) {
  ScreenReader screens(settings.view);
  const rehearsal::Machine machine(settings);
  screens.begin();
  std::this_thread::sleep_for(kLead);
  Window window;
  const auto begin = Clock::now();
  window.start = sample(machine.process());
  std::this_thread::sleep_for(length);
  window.end = sample(machine.process());
  const auto end = Clock::now();
  screens.end();
  window.seconds = Seconds(end - begin).count();
  window.ticks = punctualityOf(drawnBetween(screens, begin, end));
  return window;
}

Window watchWait(const BenchOptions& options, const std::string& migrator) {
  const Seconds length = options.isShort ? kShortWindow : kWindow;
  return valueOfMachine<Window>({options.daemon, migrator},
                                [length](const rehearsal::MachineSettings& settings) {
                                  return watchWindow(settings, length);
                                });
}

std::vector<std::string> row(const std::string& name, const Window& window) {
  const double wakeUps = static_cast<double>(window.end.wakeUps - window.start.wakeUps);
  const double time = static_cast<double>(window.end.nanoseconds - window.start.nanoseconds);
  return {name,
          numberText(wakeUps / window.seconds, 2),
          numberText(wakeUps > 0 ? time / 1000 / wakeUps : 0, 0),
          numberText(time / 1000 / static_cast<double>(window.ticks.ticks), 0),
          std::to_string(window.ticks.ticks),
          std::to_string(window.ticks.missed),
          numberText(window.ticks.latest, 2),
          numberText(window.ticks.drift, 2),
          std::to_string(window.start.residentKibibytes),
          std::to_string(window.end.residentKibibytes),
          std::to_string(window.end.mostKibibytes),
          std::to_string(window.end.threads),
          std::to_string(window.end.descriptors)};
}

}  // namespace

void measureWaiting(const BenchOptions& options) {
  std::cout << "## While the migrator runs, and each second's report is seen on the screen\n\n";
  TextTable table({"migrator", "wake-ups a second", "µs a wake-up", "µs of processor a tick",
                   "ticks", "missed", "latest, ms", "drift, ms", "resident before, KiB",
                   "and after", "most ever", "threads", "descriptors"});
  table.add(row("never reports", watchWait(options, MARROW_SILENT_MIGRATOR)));
  table.add(row("reports 100 times a second", watchWait(options, MARROW_REPORTING_MIGRATOR)));
  table.print(std::cout);
  std::cout << std::endl;
}

}  // namespace marrow
