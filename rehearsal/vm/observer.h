// What the daemon uses of the machine while it runs: a small service of the base system looks all
// the time and tells on the console whenever something has grown.
#pragma once

#include "rehearsal/expectations.h"
#include "rehearsal/vm/vm_run.h"

#include <filesystem>
#include <vector>

namespace marrow::rehearsal {

// Puts the service below the root of what is laid over a base system with a service manager.
void installObserver(const std::filesystem::path& root);

// The most that any daemon of these boots was seen to use at once: its threads, its descriptors and
// its resident memory (VmHWM, proc_pid_status(5)). As expected when it was seen, within the bounds.
Row rowOfUse(const std::vector<VmBoot>& boots);

}  // namespace marrow::rehearsal
