// What stays of a machine when it is gone.
#pragma once

#include "rehearsal/machine_run.h"

#include <filesystem>

namespace marrow::rehearsal {

// Copies what a start left: "kernel.log" (what the daemon wrote to /dev/kmsg), "marrowd-output.log"
// and, where they still lie in the base system, the migrator's files. The number of the start
// stands before each name.
void saveStart(const std::filesystem::path& root, const std::filesystem::path& logs, int start);

// The console of a run, each line with its time.
void saveConsole(const MachineRun& run, const std::filesystem::path& file);

// Copies the disk image, the firmware variables and the base system's own files into the folder, as
// "disk.img", "firmware" and "base-system".
void keepMachine(int image, const std::filesystem::path& firmware,
                 const std::filesystem::path& root, const std::filesystem::path& folder);

}  // namespace marrow::rehearsal
