#include "host/linux/device_stack.h"

#include "host/linux/loop_status.h"

#include <algorithm>
#include <filesystem>
#include <unistd.h>
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
  if (::access((*directory + "/loop/backing_file").c_str(), F_OK) == 0) {
    const auto backing = loopBacking(_devices.node(*disk));
    add(lower, backing && backing->device ? _devices.findNumber(*backing->device) : std::nullopt);
  }
  return lower;
}

std::vector<std::string> DeviceStack::above(const BlockDevice& device) const {
  const auto directory = _devices.directory(device.name);
  return directory ? namesIn(*directory + "/holders") : std::vector<std::string>();
}

}  // namespace marrow
