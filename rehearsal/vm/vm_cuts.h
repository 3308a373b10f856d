// A virtual machine that loses its power while the base system runs, again and again from the same
// state, and has to finish the upgrade by itself each time.
#pragma once

#include "rehearsal/vm/cut_outcome.h"
#include "rehearsal/vm/vm_rehearsal.h"

namespace marrow::rehearsal {

class VmCuts {
 public:
  VmCuts(const Options& options, Inputs inputs, ConsoleView& view, Interruption& interruption);

  // All cuts that the options ask for. Throws Problem and Interrupted.
  Report run();

 private:
  CutPlan planCut(unsigned number) const;
  CutOutcome cutOnce(unsigned number, std::vector<Row>& rows);
  // Looks at the machine and starts it again.
  void judge(const VmMachine& machine, unsigned number, const VmBoot& cut, CutOutcome& outcome);
  VmBoot bootUntilCut(VmMachine& machine, unsigned number);
  Snapshot inspect(const VmMachine& machine, unsigned number);
  std::vector<VmBoot> bootAfterCut(const VmMachine& machine, unsigned number);

  const Options& _options;
  ConsoleView& _view;
  VmRehearsal _rehearsal;
  VmMachine _start;
  Snapshot _before;
};

}  // namespace marrow::rehearsal
