// Each system call of the daemon made to fail.
#pragma once

#include "sweep/case_log.h"
#include "sweep/sweep_options.h"

#include <string>

namespace marrow::rehearsal {
class Interruption;
class Workplace;
struct Scenario;
}  // namespace marrow::rehearsal

namespace marrow::sweep {

// Looks at the calls of whole runs of that scenario, then does a run for each failing call that the
// options choose, and an undisturbed one after it. A case counts when the daemon has seen the
// failure. `daemon` holds the program's bytes. Throws Problem and Interrupted.
void sweepFailures(const SweepOptions& options, const rehearsal::Scenario& scenario,
                   const std::string& daemon, const rehearsal::Workplace& workplace,
                   rehearsal::Interruption& interruption, CaseLog& log);

}  // namespace marrow::sweep
