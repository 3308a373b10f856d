// Whole runs of the daemon with tools in the migrator's place that behave badly.
#pragma once

#include "sweep/case_log.h"
#include "sweep/sweep_options.h"
#include "sweep/swept_machine.h"

#include <string>

namespace marrow::sweep {

// One case for each way to behave badly. Each tool leaves the files that the migrator leaves and
// ends by itself: the run has to come to the very end that it comes to after a good one, in no more
// memory. Throws Problem or Interrupted.
void sweepTools(const SweepOptions& options, const rehearsal::Scenario& scenario,
                const std::string& daemon, const rehearsal::Workplace& workplace,
                rehearsal::Interruption& interruption, CaseLog& log);

}  // namespace marrow::sweep
