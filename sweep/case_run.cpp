#include "sweep/case_run.h"

#include "rehearsal/loop_device.h"

#include <algorithm>

namespace marrow::sweep {

using namespace rehearsal;

Complaints CaseRun::run(const DaemonTrace::AtStop& atStop) {
  const StartEnd first = start(atStop);
  if (first.trace.killed) {
    finish(judgeCutState());
  } else {
    judgeFinished(_machine.scenario(), first);
  }
  return _complaints;
}

Snapshot CaseRun::judgeCutState() {
  _machine.settleFirmware();
  const Snapshot& before = _machine.before();
  Snapshot atCut = _machine.look();
  const Expectation uncut = expectedEnd(_machine.scenario(), _machine.disk().layout(), before,
                                        SweptMachine::migratorWords());
  add(judgeCut(before, atCut, uncut.after));
  return atCut;
}

void CaseRun::finish(const Snapshot& atCut) {
  const Scenario next = afterCut(_machine.scenario(), _machine.before(), atCut);
  judgeFinished(next, start(nullptr));
}

StartEnd CaseRun::start(const DaemonTrace::AtStop& atStop) {
  StartEnd end = _machine.start(atStop);
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

void CaseRun::judgeFinished(const Scenario& scenario, const StartEnd& end) {
  const Expectation expected = expectedEnd(scenario, _machine.disk().layout(), _machine.before(),
                                           SweptMachine::migratorWords());
  add(judgeEnd(_machine.look(), expected, end.machine.describe()));
  for (const std::string& file : _machine.ownFilesLeft()) {
    _complaints.push_back("in the end: the file " + file + " is left");
  }
}

void CaseRun::add(const Complaints& more) {
  std::ranges::copy(more, std::back_inserter(_complaints));
}

}  // namespace marrow::sweep
