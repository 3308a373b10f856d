// One interrupted run of a machine and the run after it, judged.
#pragma once

#include "sweep/disturbed_judgement.h"
#include "sweep/swept_machine.h"

#include <string>

namespace marrow::sweep {

class CaseRun {
 public:
  // The machine is as it was before any run, or its state is what some interruption left.
  explicit CaseRun(SweptMachine& machine) : _machine(machine), _scenario(machine.scenario()) {}

  // Runs it, the daemon killed where `atStop` says so. True when it was: then there is a state to
  // judge; otherwise the end was judged.
  bool interrupt(const DaemonTrace::AtStop& atStop);

  // Runs it with something failing, which ends with the run: judges what that left. `usual` holds
  // the lines that an undisturbed run tells.
  struct Disturbed {
    StartEnd end;
    Outcome outcome{};
    std::string traces{};
  };
  Disturbed disturb(const StartPlan& plan, const Disturbance& disturbance,
                    const std::set<std::string>& usual);

  // Judges what an interruption left, which it returns.
  rehearsal::Snapshot judgeCutState();

  // Runs it from a state that was judged to its end, and judges that.
  void finish();

  // What was wrong so far.
  const Complaints& complaints() const { return _complaints; }

  // What the last start wrote to the console.
  const std::string& console() const { return _console; }

  // What the disturbed start told.
  const std::string& told() const { return _told; }

  // The largest resident memory of all starts, in KiB.
  std::uint64_t peakMemory() const { return _peakMemory; }

 private:
  StartEnd start(const StartPlan& plan);
  rehearsal::Expectation expected() const;
  void judgeFinished(const StartEnd& end);
  void add(const Complaints& more);

  SweptMachine& _machine;
  // That the next start plays.
  rehearsal::Scenario _scenario;
  std::string _console;
  std::string _told;
  std::uint64_t _peakMemory = 0;
  Complaints _complaints;
};

}  // namespace marrow::sweep
