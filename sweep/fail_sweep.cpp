#include "rehearsal/problem.h"
#include "sweep/call_place.h"
#include "sweep/disturbed_cases.h"
#include "sweep/fault_cases.h"
#include "sweep/sweeps.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <sys/syscall.h>

namespace marrow::sweep {
namespace {

constexpr int kCountedRuns = 2;

// Calls by which a process gets memory and threads: whatever they fail with, it has none.
constexpr std::array<std::uint64_t, 6> kMemory{SYS_mmap,   SYS_mprotect, SYS_munmap,
                                               SYS_mremap, SYS_clone,    SYS_clone3};

// Without descriptors or memory a process may end; a reboot that is refused and a descriptor that
// cannot be closed end it on purpose.
bool mayEndProcess(const FaultCase& one) {
  constexpr std::array kOutOf{EMFILE, ENOMEM, EAGAIN};
  return std::ranges::find(kOutOf, one.fault.error) != kOutOf.end() ||
         std::ranges::find(kMemory, one.number) != kMemory.end() || one.number == SYS_reboot ||
         one.number == SYS_close;
}

class FailSweep {
 public:
  FailSweep(const SweepTask& task, SweptMachine& machine)
      : _task(task), _cases(machine, task.log, task.seriesOf("fail")) {}

  void run() {
    for (int i = 0; i < kCountedRuns; ++i) {
      countCalls();
    }
    const std::vector<FaultCase> all = _places.cases(_task.options.onlyChanges);
    std::printf("%s: %zu calls at %zu places in %d runs, %zu cases\n", _cases.series().c_str(),
                _places.calls(), _places.places(), kCountedRuns, all.size());
    _task.eachCase(all.size(),
                   [&](std::size_t number) { _cases.tryCase(caseOf(all[number - 1])); });
    _cases.printTable();
  }

 private:
  void countCalls() {
    _cases.learn({.atStop =
                      [this](const SystemCall& call) {
                        _places.take(call);
                        return false;
                      },
                  .calls = {}});
    _places.endRun();
  }

  static DisturbedCase caseOf(const FaultCase& one) {
    const auto seen = std::make_shared<std::size_t>(0);
    return {.name = describe(one),
            .number = one.occurrence,
            .row = one.place.substr(0, one.place.find(' ')),
            .plan = planFor(one, seen),
            .disturbance = {.mayEndProcess = mayEndProcess(one), .readsShort = one.fault.isShort()},
            .begin = [seen] { *seen = 0; },
            .hasFired = [](const StartEnd& end) { return end.trace.faults > 0; }};
  }

  // As few stops as will do.
  static DaemonTrace::Calls callsFor(const FaultCase& one) {
    if (one.place.ends_with(kToChange)) {
      return {.kind = DaemonTrace::Calls::Kind::kChanges};
    }
    return {.kind = DaemonTrace::Calls::Kind::kNumber, .number = one.number};
  }

  static StartPlan planFor(const FaultCase& one, const std::shared_ptr<std::size_t>& seen) {
    const auto atStop = [one, seen](const SystemCall& call) -> DaemonTrace::Order {
      const bool isHere = call.isOwn && call.atEntry && call.number == one.number &&
                          *seen < one.occurrence && placeOf(call) == one.place;
      *seen += isHere ? 1 : 0;
      if (isHere && *seen == one.occurrence) {
        return one.fault;
      }
      return false;
    };
    return {.atStop = atStop, .calls = callsFor(one)};
  }

  const SweepTask& _task;
  DisturbedCases _cases;
  CalledPlaces _places;
};

}  // namespace

void sweepFailures(const SweepTask& task) {
  SweptMachine machine(task.machine(), task.workplace, task.interruption);
  FailSweep(task, machine).run();
}

}  // namespace marrow::sweep
