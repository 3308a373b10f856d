// Whole runs of the daemon on machines in which something was planted.
#pragma once

#include "sweep/case_log.h"
#include "sweep/sweep_options.h"
#include "sweep/swept_machine.h"

#include <string>

namespace marrow::sweep {

// One case for each place and each thing that can be there: the machine comes to its end by a
// reboot, and nothing has changed but the objects that a run installs and the files that it writes,
// at their places on the volumes. Throws Problem or Interrupted.
void sweepPlanted(const SweepOptions& options, const rehearsal::Scenario& scenario,
                  const std::string& daemon, const rehearsal::Workplace& workplace,
                  rehearsal::Interruption& interruption, CaseLog& log);

}  // namespace marrow::sweep
