#include "sweep/kill_sweep.h"

#include "rehearsal/interruption.h"
#include "rehearsal/problem.h"
#include "sweep/case_run.h"

#include <algorithm>
#include <cstdio>
#include <random>

namespace marrow::sweep {
namespace {

class KillSweep {
 public:
  KillSweep(const SweepOptions& options, SweptMachine& machine, CaseLog& log)
      : _options(options),
        _machine(machine),
        _log(log),
        _series("kill " + nameOf(options.fileSystem) + ' ' + machine.scenario().name +
                (options.onlyChanges ? " changes" : "") + (options.again ? " again" : "")) {}

  void run(rehearsal::Interruption& interruption) {
    const std::size_t count = countStops();
    for (const std::size_t number : chooseCases(_options, count)) {
      if (!_log.isDone(_series, number)) {
        interruption.check();
        tryCase(number, count);
      }
    }
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
      _log.add(_series, number, "somewhere", {problem.what()});
    }
  }

  void killAt(std::size_t number, std::size_t count) {
    CaseRun run(_machine);
    _machine.putBack();
    std::string place;
    bool cut = kill(run, number, place);
    if (cut && _options.again) {
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
    _log.add(_series, number, place, run.complaints());
    if (!run.complaints().empty()) {
      std::printf("%s", run.console().c_str());
    }
  }

  bool counts(const SystemCall& call) const {
    return !_options.onlyChanges || changesSomething(call);
  }

  const SweepOptions& _options;
  SweptMachine& _machine;
  CaseLog& _log;
  const std::string _series;
  std::uint64_t _peakMemory = 0;
};

}  // namespace

void sweepKills(const SweepOptions& options, const rehearsal::Scenario& scenario,
                const std::string& daemon, const rehearsal::Workplace& workplace,
                rehearsal::Interruption& interruption, CaseLog& log) {
  using Kind = DaemonTrace::Calls::Kind;
  const Kind calls = options.onlyChanges ? Kind::kChanges : Kind::kAll;
  SweptMachine machine({scenario, options.fileSystem, daemon, {.kind = calls}}, workplace,
                       interruption);
  KillSweep(options, machine, log).run(interruption);
}

}  // namespace marrow::sweep
