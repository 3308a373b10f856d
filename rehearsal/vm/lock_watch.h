// The locks against sleep that logind holds for the daemon: a small service of the base system
// looks all the time and tells on the console whenever they have changed.
#pragma once

#include "rehearsal/expectations.h"
#include "rehearsal/vm/vm_run.h"

#include <filesystem>
#include <vector>

namespace marrow::rehearsal {

// Puts the service below the root of what is laid over a base system with a service manager.
void installLockWatch(const std::filesystem::path& root);

// As expected when the daemon took its three locks and none of them went before the end.
Row rowOfLocks(const std::vector<VmBoot>& boots);

}  // namespace marrow::rehearsal
