// What the volumes of a fresh disk hold before an update, and what the update stages on them.
#pragma once

#include "rehearsal/boot_disk.h"
#include "rehearsal/staged_objects.h"

#include <filesystem>

namespace marrow::rehearsal {

class Interruption;

// Puts into `root`, the folder of an empty volume, what it holds before the update: boot objects in
// force, recovery images, a shadow file of the firmware variables, documents.
void installContent(const std::filesystem::path& root, const Partition& partition,
                    const BootDisk& disk, const TreeSize& size, Interruption& interruption);

// Adds what an update stages on that volume: on the preboot and the recovery volume something, on
// the others nothing.
void stageUpdate(const std::filesystem::path& root, const Partition& partition,
                 const BootDisk& disk, const TreeSize& size, Interruption& interruption);

}  // namespace marrow::rehearsal
