// Volumes and a firmware store that are full.
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

// Does a run with each number of free blocks, up to more than a run needs, on each volume that a
// run writes, and with each number of free pages in the firmware's store; then one with all the
// room. Throws Problem and Interrupted.
void sweepFullDisks(const SweepOptions& options, const rehearsal::Scenario& scenario,
                    const std::string& daemon, const rehearsal::Workplace& workplace,
                    rehearsal::Interruption& interruption, CaseLog& log);

}  // namespace marrow::sweep
