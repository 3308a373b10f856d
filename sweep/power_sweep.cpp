#include "rehearsal/problem.h"
#include "sweep/case_run.h"
#include "sweep/run_recording.h"
#include "sweep/sweeps.h"
#include "sweep/write_recorder.h"

#include <cstdio>
#include <set>
#include <unistd.h>

namespace marrow::sweep {
namespace {

using rehearsal::checked;

class PowerSweep {
 public:
  PowerSweep(const SweepTask& task, SweptMachine& machine, Recording recording)
      : _task(task),
        _machine(machine),
        _recording(std::move(recording)),
        _series(task.seriesOf("power")) {}

  void run() {
    const std::vector<PowerState> states = statesOf(_recording.run, _task.options.subsets);
    std::printf("%s: %zu writes of at most 4 KiB and flushes, %zu states of the firmware\n",
                _series.c_str(), _recording.run.writes.size(), _recording.run.moments.size());
    _task.eachOpenCase(_series, states.size(),
                       [&](std::size_t number) { tryState(number, states[number - 1]); });
    std::printf(
        "%s: %zu states looked at, %zu of them different, %zu run to the end; the daemon "
        "took %llu KiB at most\n",
        _series.c_str(), _tried, _seen.size(), _finished,
        static_cast<unsigned long long>(_peakMemory));
    std::fflush(stdout);
  }

 private:
  void tryState(std::size_t number, const PowerState& state) {
    makeState(state);
    ++_tried;
    CaseRun run(_machine);
    try {
      const rehearsal::Snapshot atCut = run.judgeCutState();
      if (_seen.insert(atCut).second || _tried % _task.options.finishEvery == 0) {
        ++_finished;
        run.finish();
      }
      _task.log.add(_series, number, describe(state, _recording.run), run.complaints());
    } catch (const rehearsal::Problem& problem) {
      _task.log.add(_series, number, describe(state, _recording.run), {problem.what()});
    }
    _peakMemory = std::max(_peakMemory, run.peakMemory());
  }

  void makeState(const PowerState& state) {
    _machine.putBack();
    for (const std::size_t index : keptWrites(_recording.run, state)) {
      copy(_recording.run.writes[index]);
    }
    _machine.disk().forgetCaches();
    _recording.run.moments[state.moment].firmware.putInto(_machine.firmware().folder());
  }

  void copy(const rehearsal::LoggedWrite& write) {
    _buffer.resize(write.length);
    checked(::pread(_recording.log.number(), _buffer.data(), _buffer.size(),
                    static_cast<off_t>(write.data)),
            "read the record");
    checked(::pwrite(_machine.disk().image(), _buffer.data(), _buffer.size(),
                     static_cast<off_t>(write.place)),
            "write the disk");
  }

  const SweepTask& _task;
  SweptMachine& _machine;
  const Recording _recording;
  const std::string _series;
  std::string _buffer;
  std::set<rehearsal::Snapshot> _seen;
  std::size_t _tried = 0;
  std::size_t _finished = 0;
  std::uint64_t _peakMemory = 0;
};

}  // namespace

void sweepPowerCuts(const SweepTask& task) {
  requireRecorder();
  MachineChoice choice = task.machine();
  choice.calls = {.kind = DaemonTrace::Calls::Kind::kChanges};
  SweptMachine machine(choice, task.workplace, task.interruption);
  PowerSweep(task, machine, recordRun(machine, task.workplace)).run();
}

}  // namespace marrow::sweep
