#include "benchmarks/machine/traced_run.h"

#include "benchmarks/machine/screen_reader.h"
#include "benchmarks/machine/shared_moment.h"
#include "benchmarks/machine/timed_run.h"
#include "benchmarks/waiting/process_sample.h"
#include "sweep/daemon_trace.h"

#include <map>
#include <sys/syscall.h>

namespace marrow {

namespace {

using sweep::DaemonTrace;
using sweep::SystemCall;
using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr auto kPatience = std::chrono::seconds(90);

void trace(rehearsal::MachineSettings settings, DaemonTrace::Calls calls, const SharedMoment& start,
           const std::function<void(const SystemCall&)>& observe) {
  settings.beforeDaemon = [&start, calls] {
    DaemonTrace::waitForTracer(calls);
    start.set();
  };
  ScreenReader screens(settings.view);
  rehearsal::Machine machine(settings);
  screens.begin();
  const auto look = [&observe](const SystemCall& call) {
    if (call.isOwn) {
      observe(call);
    }
    return false;
  };
  DaemonTrace(machine, calls, look).run(kPatience);
  screens.end();
  requireSuccess(machine.wait(), textOf(screens.console()));
}

bool isLast(const SystemCall& call) {
  return call.atEntry && (call.number == SYS_reboot || call.number == SYS_exit_group);
}

class Counter {
 public:
  void observe(const SystemCall& call) {
    if (_process == 0) {
      _process = call.thread;
      _before = sampleOf(_process).value_or(ProcessSample{});
    }
    _counts.systemCalls += call.atEntry ? 1 : 0;
    if (isLast(call)) {
      const ProcessSample now = sampleOf(_process).value_or(ProcessSample{});
      _counts.pageFaults = now.pageFaults - _before.pageFaults;
      _counts.mostKibibytes = now.mostKibibytes;
    }
  }

  RunCounts counts() const { return _counts; }

 private:
  pid_t _process = 0;
  ProcessSample _before;
  RunCounts _counts;
};

bool isFlush(const SystemCall& call) {
  return call.number == SYS_syncfs || call.number == SYS_fsync || call.number == SYS_fdatasync ||
         call.number == SYS_sync;
}

class FlushWatch {
 public:
  explicit FlushWatch(const SharedMoment& start) : _start(start) {}

  void observe(const SystemCall& call) {
    const auto now = Clock::now();
    if (isLast(call)) {
      _found.toRequest = Milliseconds(now - _start.get()).count();
    } else if (isFlush(call) && call.atEntry) {
      _begun[call.thread] = now;
    } else if (isFlush(call) && call.result == 0) {
      ++_found.flushes;
      _found.flushing += Milliseconds(now - _begun[call.thread]).count();
    }
  }

  RunFlushes found() const { return _found; }

 private:
  const SharedMoment& _start;
  std::map<pid_t, Clock::time_point> _begun;
  RunFlushes _found;
};

}  // namespace

RunCounts countRun(const MachinePrograms& programs) {
  return valueOfMachine<RunCounts>(programs, [](const rehearsal::MachineSettings& settings) {
    const SharedMoment start;
    Counter counter;
    trace(settings, {DaemonTrace::Calls::Kind::kAll}, start,
          [&counter](const SystemCall& call) { counter.observe(call); });
    return counter.counts();
  });
}

RunFlushes timeFlushes(const MachinePrograms& programs) {
  return valueOfMachine<RunFlushes>(programs, [](const rehearsal::MachineSettings& settings) {
    const SharedMoment start;
    FlushWatch watch(start);
    trace(settings, {DaemonTrace::Calls::Kind::kChanges}, start,
          [&watch](const SystemCall& call) { watch.observe(call); });
    return watch.found();
  });
}

}  // namespace marrow
