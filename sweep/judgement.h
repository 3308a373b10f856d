// What has to hold of a machine whose run was interrupted, at whatever moment.
#pragma once

#include "rehearsal/expectations.h"
#include "rehearsal/scenario.h"
#include "rehearsal/state_snapshot.h"

#include <string>
#include <vector>

namespace marrow::sweep {

// A sentence for each thing that is not as it has to be.
using Complaints = std::vector<std::string>;

// What the interruption left, against what there was before the run and what its end would have
// been: each live place is wholly old or wholly new; while it is old, what is staged for it is
// whole; what was done is the beginning of what was to be done, in its order; nothing else has
// changed.
Complaints judgeCut(const rehearsal::Snapshot& before, const rehearsal::Snapshot& atCut,
                    const rehearsal::Snapshot& end);

// What the next run left, against where it had to come.
Complaints judgeEnd(const rehearsal::Snapshot& found, const rehearsal::Expectation& expected,
                    const std::string& end);

// The scenario that the next run plays: what simulates a fault is forgotten by the run that takes
// it up.
rehearsal::Scenario afterCut(const rehearsal::Scenario& scenario, const rehearsal::Snapshot& before,
                             const rehearsal::Snapshot& atCut);

}  // namespace marrow::sweep
