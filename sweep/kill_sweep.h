// The daemon killed at every system call of a run.
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

// Counts the stops of a whole run of that scenario, then does a run for each of them that the
// options choose. `daemon` holds the program's bytes. Throws Problem and Interrupted.
void sweepKills(const SweepOptions& options, const rehearsal::Scenario& scenario,
                const std::string& daemon, const rehearsal::Workplace& workplace,
                rehearsal::Interruption& interruption, CaseLog& log);

}  // namespace marrow::sweep
