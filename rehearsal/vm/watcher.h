// A small service of the base system that looks on while the daemon runs.
#pragma once

#include <filesystem>
#include <string>

namespace marrow::rehearsal {

// Puts it, a shell program that starts with the daemon's unit, below the root of what is laid over
// a base system with a service manager.
void installWatcher(const std::filesystem::path& root, const std::string& name,
                    const std::string& program);

}  // namespace marrow::rehearsal
