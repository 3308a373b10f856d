#include "benchmarks/machine/timed_run.h"

#include "benchmarks/machine/screen_reader.h"
#include "benchmarks/machine/shared_moment.h"

#include <poll.h>

namespace marrow {

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr const char* kSuccess = "All Marrow operations have completed successfully!";

double since(const SharedMoment& start, Clock::time_point moment) {
  return Milliseconds(moment - start.get()).count();
}

Clock::time_point endOf(const rehearsal::Machine& machine) {
  pollfd ended{machine.descriptor(), POLLIN, 0};
  ::poll(&ended, 1, -1);
  return Clock::now();
}

RunTimes watch(rehearsal::MachineSettings settings) {
  const SharedMoment start;
  settings.beforeDaemon = [&start] { start.set(); };
  ScreenReader screens(settings.view);
  rehearsal::Machine machine(settings);
  screens.begin();
  RunTimes times{.toEnd = since(start, endOf(machine))};
  screens.end();
  const auto& console = screens.console();
  requireSuccess(machine.wait(), textOf(console));
  if (!console.empty()) {
    times.toFirstLine = since(start, console.front().when);
    times.toLastLine = since(start, console.back().when);
  }
  return times;
}

}  // namespace

RunTimes timeRun(const MachinePrograms& programs) {
  return valueOfMachine<RunTimes>(programs, watch);
}

void requireSuccess(const rehearsal::MachineEnd& end, const std::string& console) {
  const bool rebooted = end.kind == rehearsal::MachineEnd::Kind::kReboot;
  const bool ended = end.kind == rehearsal::MachineEnd::Kind::kDaemonEnded && end.status == 0;
  const bool succeeded = console.find(kSuccess) != std::string::npos;
  if (rebooted ? !succeeded : !ended || !console.empty()) {
    throw std::runtime_error("The run did not go well: " + end.describe() + "\n" + console);
  }
}

}  // namespace marrow
