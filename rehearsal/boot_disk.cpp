#include "rehearsal/boot_disk.h"

#include "rehearsal/digest.h"
#include "rehearsal/files.h"
#include "rehearsal/problem.h"
#include "rehearsal/units.h"

#include <algorithm>
#include <cctype>

namespace marrow::rehearsal {
namespace {

constexpr std::uint64_t kDataContent = 48 * kMebibyte;
constexpr std::uint64_t kTreesOnPreboot = 6;
constexpr std::uint64_t kImagesOnRecovery = 4;

std::string freshUuid() {
  std::string text = readFile("/proc/sys/kernel/random/uuid").value_or("").substr(0, 36);
  std::ranges::transform(text, text.begin(), [](unsigned char c) { return std::toupper(c); });
  return text;
}

bool belongsToGroup(const Partition& partition) {
  return partition.type == partition_type::kSystem || partition.type == partition_type::kData;
}

Partition plan(std::string_view type, const std::string& name, std::uint64_t size) {
  return {.number = 0, .start = 0, .size = size, .type = std::string(type), .name = name};
}

}  // namespace

std::optional<int> BootDisk::partitionOf(std::string_view type) const {
  for (const Partition& partition : partitions) {
    if (partition.type == type && (!belongsToGroup(partition) || partition.name == group)) {
      return partition.number;
    }
  }
  return std::nullopt;
}

std::uint64_t BootDisk::sizeOf(std::string_view type) const {
  const std::optional<int> number = partitionOf(type);
  const auto found = std::ranges::find(partitions, number, &Partition::number);
  return found == partitions.end() ? 0 : found->size;
}

BootDisk planDisk(FileSystem kind, const TreeSize& size, std::uint64_t efiBytes) {
  BootDisk disk;
  disk.group = freshUuid();
  disk.bootObjectsPath = disk.group + "/boot/" + shortDigest(disk.group) + "-new";
  const std::string other = freshUuid();
  const std::uint64_t small = volumeSize(kind, kMebibyte);
  const std::uint64_t data = volumeSize(kind, kDataContent);
  disk.partitions = {
      plan(partition_type::kEfiSystem, "EFI system", efiBytes),
      plan(partition_type::kPreboot, "Preboot", volumeSize(kind, kTreesOnPreboot * roomOf(size))),
      plan(partition_type::kRecovery, "Recovery", volumeSize(kind, kImagesOnRecovery * size.bytes)),
      plan(partition_type::kUpdate, "Update", small),
      plan(partition_type::kSystem, other, small),
      plan(partition_type::kData, other, small),
      plan(partition_type::kSystem, disk.group, small),
      plan(partition_type::kData, disk.group, data)};
  return disk;
}

BootDisk examineDisk(const std::vector<Partition>& partitions, const std::string& group) {
  BootDisk disk;
  disk.partitions = partitions;
  disk.group = group;
  if (group.empty()) {
    const auto found = std::ranges::find(partitions, partition_type::kData, &Partition::type);
    disk.group = found == partitions.end() ? "" : found->name;
  }
  if (!disk.partitionOf(partition_type::kData) && !disk.partitionOf(partition_type::kSystem)) {
    throw Problem("The disk image has no volume of " +
                  (group.empty() ? "any volume group" : "the volume group " + group) +
                  ": the GPT type of a volume tells its role, and its name the group.");
  }
  return disk;
}

std::string findBootableGroup(const BootDisk& disk, const LoopDevice& device,
                              const std::filesystem::path& place) {
  if (const std::optional<int> preboot = disk.partitionOf(partition_type::kPreboot)) {
    const MountedVolume volume(device.node(*preboot), place, MountedVolume::Access::kReadOnly);
    for (const Partition& partition : disk.partitions) {
      if (partition.type == partition_type::kData && !partition.name.empty() &&
          std::filesystem::is_directory(volume.path() / partition.name / "boot")) {
        return partition.name;
      }
    }
  }
  return disk.group;
}

std::string findBootObjects(const BootDisk& disk, const LoopDevice& device,
                            const std::filesystem::path& place) {
  const std::string boot = disk.group + "/boot";
  const std::optional<int> preboot = disk.partitionOf(partition_type::kPreboot);
  std::string found;
  if (preboot) {
    const MountedVolume volume(device.node(*preboot), place, MountedVolume::Access::kReadOnly);
    std::error_code none;
    std::filesystem::file_time_type newest = std::filesystem::file_time_type::min();
    for (const auto& entry : std::filesystem::directory_iterator(volume.path() / boot, none)) {
      if (entry.is_directory() && entry.last_write_time() > newest) {
        newest = entry.last_write_time();
        found = entry.path().filename();
      }
    }
  }
  return boot + '/' + (found.empty() ? "none" : found);
}

}  // namespace marrow::rehearsal
