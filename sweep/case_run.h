// One interrupted run of a machine and the run after it, judged.
#pragma once

#include "sweep/judgement.h"
#include "sweep/swept_machine.h"

#include <string>

namespace marrow::sweep {

// The daemon's largest resident memory has to stay below this, in KiB.
inline constexpr std::uint64_t kMostMemory = 128 * 1024;

class CaseRun {
 public:
  // The machine is as it was before any run.
  explicit CaseRun(SweptMachine& machine) : _machine(machine) {}

  // Runs it, the daemon killed where `atStop` says so, looks at what is there, and runs it again to
  // its end when it was. Returns what was wrong.
  Complaints run(const DaemonTrace::AtStop& atStop);

  // For a machine whose state is what some interruption left. Judges it.
  rehearsal::Snapshot judgeCutState();

  // Runs it from the state that was found there to its end, and judges that.
  void finish(const rehearsal::Snapshot& atCut);

  // What was wrong so far.
  const Complaints& complaints() const { return _complaints; }

  // What the last start wrote to the console.
  const std::string& console() const { return _console; }

  // The largest resident memory of all starts, in KiB.
  std::uint64_t peakMemory() const { return _peakMemory; }

 private:
  StartEnd start(const DaemonTrace::AtStop& atStop);
  void judgeFinished(const rehearsal::Scenario& scenario, const StartEnd& end);
  void add(const Complaints& more);

  SweptMachine& _machine;
  std::string _console;
  std::uint64_t _peakMemory = 0;
  Complaints _complaints;
};

}  // namespace marrow::sweep
