// Which disks are containers and which partitions are their volumes: a container is a disk whose
// GPT has a partition of one of the five volume types. Read from the disks at each call. Any
// thread.
#pragma once

#include "host/linux/block_devices.h"
#include "host/linux/device_stack.h"
#include "host/linux/partition_table.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace marrow {

enum class LoamVolumeRole : std::uint8_t { system, data, preboot, recovery, update };

struct LoamVolumeRecord {
  BlockDevice device;
  LoamVolumeRole role = LoamVolumeRole::system;
  std::string group;  // the group's UUID as the partition's name has it; empty when there is none
};

struct LoamContainerRecord {
  BlockDevice disk;
  std::vector<LoamVolumeRecord> volumes;  // in the table's order
};

class LoamContainers {
 public:
  LoamContainers(const BlockDevices& devices, const DeviceStack& stack);

  // Every container, in the order of BlockDevices.
  std::vector<LoamContainerRecord> all() const;

  // The container on this disk. Absent when the disk is none (any more), or cannot be read.
  std::optional<LoamContainerRecord> onDisk(const BlockDevice& disk) const;

  // The data volume of this group, in the first container that has any volume of it.
  std::optional<LoamVolumeRecord> dataVolumeOf(const std::string& group) const;

  // The volume on this partition. Absent when it is none (any more).
  std::optional<LoamVolumeRecord> volumeOn(const BlockDevice& partition) const;

 private:
  // The table of this disk; absent when it is no container.
  std::optional<std::vector<PartitionEntry>> tableOn(const BlockDevice& disk) const;

  const BlockDevices& _devices;
  const DeviceStack& _stack;
};

// The role of the volumes on partitions of this type, given as a UUID in lower case.
std::optional<LoamVolumeRole> roleOfPartitionType(std::string_view type);

// True for a UUID in its text form of 36 characters, in either case (RFC 9562).
bool isUUID(std::string_view text);

}  // namespace marrow
