// The power lost at every write of a run that reaches the disk.
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

// Records the writes of a whole run of that scenario, then makes each state that the options choose
// of those that a loss of power may leave, judges it, and runs the machine from there to its end.
// `daemon` holds the program's bytes. Throws Problem and Interrupted.
void sweepPowerCuts(const SweepOptions& options, const rehearsal::Scenario& scenario,
                    const std::string& daemon, const rehearsal::Workplace& workplace,
                    rehearsal::Interruption& interruption, CaseLog& log);

}  // namespace marrow::sweep
