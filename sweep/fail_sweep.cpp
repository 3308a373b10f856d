#include "sweep/fail_sweep.h"

#include "rehearsal/interruption.h"
#include "rehearsal/problem.h"
#include "sweep/call_place.h"
#include "sweep/case_run.h"
#include "sweep/fault_cases.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <sys/syscall.h>

namespace marrow::sweep {
namespace {

// How often a run may take another way than to the call that is to fail.
constexpr int kAttempts = 3;
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
  FailSweep(const SweepOptions& options, SweptMachine& machine, CaseLog& log)
      : _options(options),
        _machine(machine),
        _log(log),
        _series("fail " + nameOf(options.fileSystem) + ' ' + machine.scenario().name + ' ') {}

  void run(rehearsal::Interruption& interruption) {
    for (int i = 0; i < kCountedRuns; ++i) {
      countCalls();
    }
    const std::vector<FaultCase> all = _places.cases(_options.onlyChanges);
    std::printf("%s: %zu calls at %zu places in %d runs, %zu cases\n", _series.c_str(),
                _places.calls(), _places.places(), kCountedRuns, all.size());
    for (const std::size_t number : chooseCases(_options, all.size())) {
      const FaultCase& one = all[number - 1];
      if (!_log.isDone(seriesOf(one), one.occurrence)) {
        interruption.check();
        tryCase(one);
      }
    }
    printTable();
  }

 private:
  std::string seriesOf(const FaultCase& one) const { return _series + describe(one); }

  // An undisturbed run, which is judged as well.
  void countCalls() {
    CaseRun run(_machine);
    _machine.putBack();
    const auto found = run.disturb({.atStop =
                                        [this](const SystemCall& call) {
                                          _places.take(call);
                                          return false;
                                        },
                                    .calls = {}},
                                   {}, _usualLines);
    _usualLines.merge(linesOf(found.end.console + found.end.log));
    _places.endRun();
    if (found.outcome == Outcome::kProcessEnded || !run.complaints().empty()) {
      take({.place = "undisturbed"}, run, found.outcome);
    }
  }

  // A case that cannot be brought to its end has failed, and the others are still tried.
  void tryCase(const FaultCase& one) {
    try {
      for (int i = 0; i < kAttempts; ++i) {
        if (hasFired(one)) {
          return;
        }
      }
      ++_notFired;
      _log.addNotTried(seriesOf(one), one.occurrence);
    } catch (const rehearsal::Problem& problem) {
      _log.add(seriesOf(one), one.occurrence, "somewhere", {problem.what()});
    }
  }

  bool hasFired(const FaultCase& one) {
    CaseRun run(_machine);
    _machine.putBack();
    const auto found = run.disturb(planFor(one), disturbanceOf(one), _usualLines);
    if (found.end.trace.faults == 0) {
      return false;
    }
    ++_fired;
    run.finish();
    take(one, run, found.outcome);
    return true;
  }

  StartPlan planFor(const FaultCase& one) const {
    return {.atStop = [&one, seen = std::size_t{0}](
                          const SystemCall& call) mutable -> DaemonTrace::Order {
              const bool isHere = call.isOwn && call.atEntry && call.number == one.number &&
                                  seen < one.occurrence && placeOf(call) == one.place;
              seen += isHere ? 1 : 0;
              if (isHere && seen == one.occurrence) {
                return one.fault;
              }
              return false;
            },
            .calls = {.kind = DaemonTrace::Calls::Kind::kNumber, .number = one.number}};
  }

  static Disturbance disturbanceOf(const FaultCase& one) {
    return {.mayEndProcess = mayEndProcess(one), .readsShort = one.fault.isShort()};
  }

  void take(const FaultCase& one, const CaseRun& run, Outcome outcome) {
    _peakMemory = std::max(_peakMemory, run.peakMemory());
    ++_table[one.place.substr(0, one.place.find(' '))].at(static_cast<std::size_t>(outcome));
    _log.add(seriesOf(one), one.occurrence, nameOf(outcome), run.complaints());
    if (!run.complaints().empty()) {
      std::printf("%s", run.told().c_str());
    }
  }

  void printTable() const {
    constexpr std::array kOutcomes{Outcome::kUnnoticed, Outcome::kToldAndDone,
                                   Outcome::kToldAndLeft, Outcome::kProcessEnded};
    std::printf("%-20s", "cases by call");
    for (const Outcome outcome : kOutcomes) {
      std::printf("  %s", nameOf(outcome));
    }
    for (const auto& [call, counts] : _table) {
      std::printf("\n%-20s", call.c_str());
      for (std::size_t i = 0; i < counts.size(); ++i) {
        std::printf("  %*zu", static_cast<int>(std::string_view(nameOf(kOutcomes.at(i))).size()),
                    counts.at(i));
      }
    }
    std::printf("\n%s: %zu of %zu fired; the daemon took %llu KiB at most\n", _series.c_str(),
                _fired, _fired + _notFired, static_cast<unsigned long long>(_peakMemory));
    std::fflush(stdout);
  }

  const SweepOptions& _options;
  SweptMachine& _machine;
  CaseLog& _log;
  const std::string _series;
  CalledPlaces _places;
  std::set<std::string> _usualLines;
  std::map<std::string, std::array<std::size_t, 4>> _table;
  std::size_t _fired = 0;
  std::size_t _notFired = 0;
  std::uint64_t _peakMemory = 0;
};

}  // namespace

void sweepFailures(const SweepOptions& options, const rehearsal::Scenario& scenario,
                   const std::string& daemon, const rehearsal::Workplace& workplace,
                   rehearsal::Interruption& interruption, CaseLog& log) {
  SweptMachine machine({scenario, options.fileSystem, daemon}, workplace, interruption);
  FailSweep(options, machine, log).run(interruption);
}

}  // namespace marrow::sweep
