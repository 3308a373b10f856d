#include "host/linux/loam_containers.h"

#include <algorithm>
#include <array>
#include <utility>

namespace marrow {

namespace {

constexpr std::array<std::pair<std::string_view, LoamVolumeRole>, 5> kPartitionTypes = {{
    {"486f2098-c9ed-47bf-8352-761f3b77d572", LoamVolumeRole::system},
    {"7827f9f7-92dd-404a-82cb-82ad19ca1dc7", LoamVolumeRole::data},
    {"afcd426d-dc30-44d3-a72d-7e67d5f91d40", LoamVolumeRole::preboot},
    {"3a41e884-3162-431b-9caa-05e349801c59", LoamVolumeRole::recovery},
    {"c2f481a2-9471-49a7-9df4-24b9066f77e0", LoamVolumeRole::update},
}};

constexpr std::size_t kUUIDLength = 36;

bool isHexadecimal(char letter) {
  return (letter >= '0' && letter <= '9') || (letter >= 'a' && letter <= 'f') ||
         (letter >= 'A' && letter <= 'F');
}

bool isDashPlace(std::size_t at) { return at == 8 || at == 13 || at == 18 || at == 23; }

// Only the volumes that are started together belong to a group; the others serve the container.
std::string groupOf(LoamVolumeRole role, const std::string& partitionName) {
  const bool grouped = role == LoamVolumeRole::system || role == LoamVolumeRole::data;
  return grouped && isUUID(partitionName) ? partitionName : std::string();
}

const BlockDevice* withNumber(const std::vector<BlockDevice>& partitions, unsigned number) {
  const auto found = std::find_if(partitions.begin(), partitions.end(),
                                  [number](const auto& each) { return each.partition == number; });
  return found == partitions.end() ? nullptr : &*found;
}

bool hasVolumeType(const std::vector<PartitionEntry>& table) {
  return std::any_of(table.begin(), table.end(),
                     [](const auto& entry) { return roleOfPartitionType(entry.type).has_value(); });
}

std::vector<LoamVolumeRecord> volumesIn(const std::vector<PartitionEntry>& table,
                                        const std::vector<BlockDevice>& partitions) {
  std::vector<LoamVolumeRecord> volumes;
  for (const auto& entry : table) {
    const auto role = roleOfPartitionType(entry.type);
    const auto* device = withNumber(partitions, entry.number);
    if (role && device != nullptr) {
      volumes.push_back({*device, *role, groupOf(*role, entry.name)});
    }
  }
  return volumes;
}

}  // namespace

std::optional<LoamVolumeRole> roleOfPartitionType(std::string_view type) {
  for (const auto& [known, role] : kPartitionTypes) {
    if (known == type) {
      return role;
    }
  }
  return std::nullopt;
}

bool isUUID(std::string_view text) {
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (isDashPlace(at) ? text[at] != '-' : !isHexadecimal(text[at])) {
      return false;
    }
  }
  return text.size() == kUUIDLength;
}

LoamContainers::LoamContainers(const BlockDevices& devices, const DeviceStack& stack)
    : _devices(devices), _stack(stack) {}

std::vector<LoamContainerRecord> LoamContainers::all() const {
  std::vector<LoamContainerRecord> containers;
  for (const auto& disk : _devices.disks()) {
    if (auto container = onDisk(disk)) {
      containers.push_back(std::move(*container));
    }
  }
  return containers;
}

std::optional<LoamContainerRecord> LoamContainers::onDisk(const BlockDevice& disk) const {
  const auto present = _devices.current(disk);
  const auto table = present ? tableOn(*present) : std::nullopt;
  if (!table) {
    return std::nullopt;
  }
  return LoamContainerRecord{*present, volumesIn(*table, _devices.partitionsOf(present->name))};
}

std::optional<std::vector<PartitionEntry>> LoamContainers::tableOn(const BlockDevice& disk) const {
  if (!disk.isDisk() || disk.sectors == 0 || !_stack.below(disk).empty()) {
    return std::nullopt;
  }
  auto table = readPartitionTable(_devices.node(disk));
  return table && hasVolumeType(*table) ? std::move(table) : std::nullopt;
}

std::optional<LoamVolumeRecord> LoamContainers::dataVolumeOf(const std::string& group) const {
  for (const auto& container : all()) {
    bool hasGroup = false;
    for (const auto& volume : container.volumes) {
      const bool isInGroup = !group.empty() && volume.group == group;
      if (isInGroup && volume.role == LoamVolumeRole::data) {
        return volume;
      }
      hasGroup = hasGroup || isInGroup;
    }
    if (hasGroup) {
      break;
    }
  }
  return std::nullopt;
}

// Every volume of a disk is asked about in turn: looking up all the others each time would take a
// disk of 128 volumes seconds.
std::optional<LoamVolumeRecord> LoamContainers::volumeOn(const BlockDevice& partition) const {
  const auto disk = _devices.find(partition.disk);
  const auto table = disk ? tableOn(*disk) : std::nullopt;
  const auto present = table ? _devices.current(partition) : std::nullopt;
  if (!present) {
    return std::nullopt;
  }
  auto volumes = volumesIn(*table, {*present});
  return volumes.empty() ? std::nullopt : std::optional(std::move(volumes.front()));
}

}  // namespace marrow
