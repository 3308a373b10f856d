// What a machine boots from: its volume group, where its boot objects lie, and which partition
// plays which role.
#pragma once

#include "rehearsal/file_systems.h"
#include "rehearsal/loop_device.h"
#include "rehearsal/partition_table.h"
#include "rehearsal/staged_objects.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace marrow::rehearsal {

struct BootDisk {
  std::string group;
  // Below the preboot and the recovery volume, as the boot loader hands it to the kernel.
  std::string bootObjectsPath;
  std::vector<Partition> partitions;

  // The first partition of that type, for system and data volumes that of the group.
  std::optional<int> partitionOf(std::string_view type) const;

  // Its size in bytes, 0 when there is none.
  std::uint64_t sizeOf(std::string_view type) const;
};

// Plans a disk with all five roles, an EFI system partition of so many bytes and, before the booted
// group, a second volume group. Nothing is written yet.
BootDisk planDisk(FileSystem kind, const TreeSize& size, std::uint64_t efiBytes = 1U << 20U);

// What is on a person's own disk. `group` is the one to boot, or empty for the first that has a
// data volume. Throws Problem when it has no volume there. Where the boot objects lie is left open.
BootDisk examineDisk(const std::vector<Partition>& partitions, const std::string& group);

// The first volume group with a data volume and a folder GROUP/boot on the preboot volume; the
// disk's own where there is none.
std::string findBootableGroup(const BootDisk& disk, const LoopDevice& device,
                              const std::filesystem::path& place);

// The newest folder below GROUP/boot of the preboot volume, "GROUP/boot/none" where there is none.
std::string findBootObjects(const BootDisk& disk, const LoopDevice& device,
                            const std::filesystem::path& place);

}  // namespace marrow::rehearsal
