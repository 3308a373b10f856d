// Allocations that fail.
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

// Looks from which places a whole run of that scenario allocates memory, then does a run for each:
// the first allocation there fails and, as a second case, all later ones as well; and an
// undisturbed run behind it. Throws Problem and Interrupted.
void sweepStarvation(const SweepOptions& options, const rehearsal::Scenario& scenario,
                     const std::string& daemon, const rehearsal::Workplace& workplace,
                     rehearsal::Interruption& interruption, CaseLog& log);

}  // namespace marrow::sweep
