// What the boots of a virtual machine have to come to, beside what expectations.h tells.
#pragma once

#include "rehearsal/expectations.h"
#include "rehearsal/vm/vm_run.h"

#include <string>
#include <vector>

namespace marrow::rehearsal {

// The systems that boot, in order, when the upgrade ends as expected from `before` on.
std::vector<std::string> expectedSystems(const Scenario& scenario, const BootDisk& disk,
                                         const Expectation& expectation);

// As expectedEnd(), for a base system in memory, of which nothing is left in the end.
Expectation expectedVmEnd(const Scenario& scenario, const BootDisk& disk, const Snapshot& before,
                          const MigratorWords& words);

// Rows on the boots: which systems they were, what the last run of the daemon did, and whether the
// scenario's words stood on any console. The boots are those of a machine that reported at its end.
std::vector<Row> compareBoots(const std::vector<VmBoot>& boots, const Scenario& scenario,
                              const BootDisk& disk, const Expectation& expectation);

// The last report, or null when none came.
const GuestReport* lastReport(const std::vector<VmBoot>& boots);

}  // namespace marrow::rehearsal
