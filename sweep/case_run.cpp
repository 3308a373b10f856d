#include "sweep/case_run.h"

#include "rehearsal/loop_device.h"

#include <algorithm>

namespace marrow::sweep {

using namespace rehearsal;

namespace {

// The largest resident memory of the daemon has to stay below this, in KiB.
constexpr std::uint64_t kMostMemory = std::uint64_t{128} * 1024;

}  // namespace

bool CaseRun::interrupt(const DaemonTrace::AtStop& atStop) {
  const StartEnd end = start({.atStop = atStop, .calls = _machine.calls()});
  if (!end.trace.killed) {
    judgeFinished(end);
  }
  return end.trace.killed;
}

CaseRun::Disturbed CaseRun::disturb(const StartPlan& plan, const Disturbance& disturbance,
                                    const std::set<std::string>& usual) {
  const Snapshot before = _machine.look();
  Disturbed found{.end = start(plan)};
  _told = found.end.console + found.end.log;
  DisturbedRun run{.before = before,
                   .after = _machine.look(),
                   .end = expected().after,
                   .usualLines = usual,
                   .told = _told,
                   .machine = found.end.machine};
  add(judgeDisturbed(run, disturbance));
  found.outcome = outcomeOf(run);
  found.traces = tracesOf(run);
  _scenario = afterCut(_scenario, run.before, run.after);
  return found;
}

Snapshot CaseRun::judgeCutState() {
  _machine.settleFirmware();
  Snapshot atCut = _machine.look();
  add(judgeCut(_machine.before(), atCut, expected().after));
  _scenario = afterCut(_scenario, _machine.before(), atCut);
  return atCut;
}

void CaseRun::finish() { judgeFinished(start({})); }

Expectation CaseRun::expected() const {
  return expectedEnd(_scenario, _machine.disk().layout(), _machine.before(),
                     SweptMachine::migratorWords());
}

StartEnd CaseRun::start(const StartPlan& plan) {
  StartEnd end = _machine.start(plan);
  _console = end.console;
  _peakMemory = std::max(_peakMemory, end.trace.peakMemory);
  if (end.trace.hung) {
    _complaints.emplace_back("the machine did not come to its end");
  }
  if (end.trace.peakMemory >= kMostMemory) {
    _complaints.push_back("the daemon took " + std::to_string(end.trace.peakMemory) + " KiB");
  }
  add(end.leftovers);
  add(_machine.baseSystemChanges());
  return end;
}

void CaseRun::judgeFinished(const StartEnd& end) {
  add(judgeEnd(_machine.look(), expected(), end.machine.describe()));
  for (const std::string& file : _machine.ownFilesLeft()) {
    _complaints.push_back("in the end: the file " + file + " is left");
  }
}

void CaseRun::add(const Complaints& more) {
  std::ranges::copy(more, std::back_inserter(_complaints));
}

}  // namespace marrow::sweep
