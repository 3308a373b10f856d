// What a scenario makes of the base system.
#pragma once

#include "rehearsal/base_system.h"
#include "rehearsal/boot_disk.h"
#include "rehearsal/expectations.h"
#include "rehearsal/options.h"
#include "rehearsal/scenario.h"

#include <string>

namespace marrow::rehearsal {

// Everything but the root and the daemon. `migrator` are the bytes of the program.
BaseSystem planBaseSystem(const Options& options, const Scenario& scenario, const BootDisk& disk,
                          const std::string& migrator);

// What the stand-in writes about a data volume of so many bytes.
MigratorWords standInWords(const std::string& fileSystem, const std::string& kernelName,
                           std::uint64_t bytes);

}  // namespace marrow::rehearsal
