// The disk of a virtual machine before its first boot: boot loader, systems, and the volumes of a
// machine on which no update has been staged yet.
#pragma once

#include "rehearsal/base_system.h"
#include "rehearsal/boot_disk.h"
#include "rehearsal/scenario.h"
#include "rehearsal/vm/guest/guest_plan.h"
#include "rehearsal/vm/vm_parts.h"

#include <filesystem>

namespace marrow::rehearsal {

class Interruption;

struct VmDiskContent {
  const VmParts& parts;
  const Scenario& scenario;
  // What the scenario adds to the base system: the migrator, and that it is an internal build.
  const BaseSystem& baseSystem;
  std::string baseSystemWords;
  const GuestPlan& plan;
  // Whether a service tells what the daemon uses.
  bool observed = false;
};

// The plan of the agent's systems, as an archive that the kernel takes beside theirs.
std::string planArchive(const GuestPlan& plan);

// A planned disk (planDisk) with an EFI system partition that holds those parts.
BootDisk planVmDisk(const VmParts& parts, const TreeSize& size);

// Writes it into the image, an empty file, and places the partitions. Throws Problem.
void makeVmDisk(const std::filesystem::path& image, BootDisk& disk, const VmDiskContent& content,
                Interruption& interruption);

}  // namespace marrow::rehearsal
