#include "host/linux/device_stack.h"

#include "host/linux/loop_status.h"

#include <algorithm>
#include <filesystem>
#include <utility>

namespace marrow {

namespace {

namespace fs = std::filesystem;

std::vector<std::string> namesIn(const std::string& directory) {
  std::vector<std::string> names;
  std::error_code ended;
  for (fs::directory_iterator entry(directory, ended), end; !ended && entry != end;
       entry.increment(ended)) {
    names.push_back(entry->path().filename().native());
  }
  std::sort(names.begin(), names.end());
  return names;
}

void add(std::vector<BlockDevice>& devices, std::optional<BlockDevice> device) {
  if (device) {
    devices.push_back(std::move(*device));
  }
}

constexpr std::uint64_t kSector = 512;

// Sectors of one disk.
struct Extent {
  std::uint64_t begin = 0;
  std::uint64_t size = 0;

  bool meets(const Extent& other) const {
    return begin < other.begin + other.size && other.begin < begin + size;
  }
};

}  // namespace

std::vector<BlockDevice> DeviceStack::below(const BlockDevice& device) const {
  std::vector<BlockDevice> lower;
  const auto disk = _devices.find(device.disk);
  const auto directory = disk ? _devices.directory(disk->name) : std::nullopt;
  if (!directory) {
    return lower;
  }
  for (const auto& slave : namesIn(*directory + "/slaves")) {
    add(lower, _devices.find(slave));
  }
  const auto backing = loopBackingOf(_devices, *disk);
  add(lower, backing && backing->device ? _devices.findNumber(*backing->device) : std::nullopt);
  return lower;
}

std::vector<BlockDevice> DeviceStack::loopsOver(const BlockDevice& device) const {
  const auto disk = _devices.find(device.disk);
  std::vector<BlockDevice> found;
  for (const auto& loop : _devices.disks()) {
    const auto backing = loopBackingOf(_devices, loop);
    const bool onNode = backing && backing->device == device.number;
    const bool onDisk = backing && disk && backing->device == disk->number;
    if (!onNode && !onDisk) {
      continue;
    }
    auto parts = _devices.partitionsOf(loop.name);
    if (parts.empty()) {
      parts.push_back(loop);
    }
    std::erase_if(parts, [&](const BlockDevice& part) {
      const Extent shown{backing->offset / kSector + part.start, part.sectors};
      return !onNode && !shown.meets({device.start, device.sectors});
    });
    found.insert(found.end(), parts.begin(), parts.end());
  }
  return found;
}

std::vector<std::string> DeviceStack::above(const BlockDevice& device) const {
  const auto directory = _devices.directory(device.name);
  return directory ? namesIn(*directory + "/holders") : std::vector<std::string>();
}

}  // namespace marrow
