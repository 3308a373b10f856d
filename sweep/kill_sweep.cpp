#include "rehearsal/problem.h"
#include "sweep/case_run.h"
#include "sweep/sweeps.h"

#include <algorithm>
#include <cstdio>
#include <random>

namespace marrow::sweep {
namespace {

class KillSweep {
 public:
  KillSweep(const SweepTask& task, SweptMachine& machine)
      : _task(task),
        _machine(machine),
        _series(task.seriesOf("kill") + (task.options.onlyChanges ? " changes" : "") +
                (task.options.again ? " again" : "")) {}

  void run() {
    const std::size_t count = countStops();
    _task.eachOpenCase(_series, count, [&](std::size_t number) { tryCase(number, count); });
    std::printf("%s: %zu stops; the daemon took %llu KiB at most\n", _series.c_str(), count,
                static_cast<unsigned long long>(_peakMemory));
    std::fflush(stdout);
  }

 private:
  // A run that nobody interrupts is judged as well.
  std::size_t countStops() {
    std::size_t stops = 0;
    CaseRun run(_machine);
    _machine.putBack();
    run.interrupt([&](const SystemCall& call) {
      stops += counts(call) ? 1 : 0;
      return false;
    });
    take(0, "came to its end", run);
    return stops;
  }

  // A case that cannot be brought to its end has failed, and the others are still tried.
  void tryCase(std::size_t number, std::size_t count) {
    try {
      killAt(number, count);
    } catch (const rehearsal::Problem& problem) {
      _task.log.add(_series, number, "somewhere", {problem.what()});
    }
  }

  void killAt(std::size_t number, std::size_t count) {
    CaseRun run(_machine);
    _machine.putBack();
    std::string place;
    bool cut = kill(run, number, place);
    if (cut && _task.options.again) {
      place += ", then ";
      cut = kill(run, std::mt19937_64(number)() % count + 1, place);
    }
    if (cut) {
      run.finish();
    }
    take(number, place, run);
  }

  // Adds to `place` where it was.
  bool kill(CaseRun& run, std::size_t number, std::string& place) {
    std::size_t stops = 0;
    std::string here = "came to its end";
    const bool cut = run.interrupt([&](const SystemCall& call) {
      stops += counts(call) ? 1 : 0;
      if (stops == number) {
        here = describe(call);
      }
      return stops == number;
    });
    if (cut) {
      run.judgeCutState();
    }
    place += here;
    return cut;
  }

  void take(std::size_t number, const std::string& place, const CaseRun& run) {
    _peakMemory = std::max(_peakMemory, run.peakMemory());
    _task.log.add(_series, number, place, run.complaints());
    if (!run.complaints().empty()) {
      std::printf("%s", run.console().c_str());
    }
  }

  bool counts(const SystemCall& call) const {
    return !_task.options.onlyChanges || changesSomething(call);
  }

  const SweepTask& _task;
  SweptMachine& _machine;
  const std::string _series;
  std::uint64_t _peakMemory = 0;
};

}  // namespace

void sweepKills(const SweepTask& task) {
  using Kind = DaemonTrace::Calls::Kind;
  MachineChoice choice = task.machine();
  choice.calls = {.kind = task.options.onlyChanges ? Kind::kChanges : Kind::kAll};
  SweptMachine machine(choice, task.workplace, task.interruption);
  KillSweep(task, machine).run();
}

}  // namespace marrow::sweep
