// Whole runs of the daemon, with somebody who looks at the live trees all the while.
#pragma once

#include "sweep/case_log.h"
#include "sweep/sweep_options.h"
#include "sweep/swept_machine.h"

#include <string>

namespace marrow::sweep {

// As many runs as it takes for the looks that the options ask for: none may find a live tree
// missing, or files of both trees at once. Throws Problem or Interrupted.
void sweepWatched(const SweepOptions& options, const rehearsal::Scenario& scenario,
                  const std::string& daemon, const rehearsal::Workplace& workplace,
                  rehearsal::Interruption& interruption, CaseLog& log);

}  // namespace marrow::sweep
