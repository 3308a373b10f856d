// Somebody else who wants to mount a volume while the daemon has it: a service of the base system.
#pragma once

#include "rehearsal/expectations.h"
#include "rehearsal/vm/vm_run.h"

#include <filesystem>
#include <string>
#include <vector>

namespace marrow::rehearsal {

// Puts the service below the root of what is laid over a base system with a service manager.
// Returns the command that has it try to mount the node a few times, and tell what came of it and
// what the log says. Throws Problem.
std::string installIntruder(const std::filesystem::path& root, const std::string& node);

// As expected when each try was refused, and the log told of each.
Row rowOfIntruder(const std::vector<VmBoot>& boots);

}  // namespace marrow::rehearsal
