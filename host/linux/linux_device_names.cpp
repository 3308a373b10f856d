#include "host/linux/linux_device_names.h"

namespace marrow {

std::optional<std::string> LinuxDeviceNames::characterDeviceName(std::uint64_t deviceNumber) {
  const auto device = _devices.findNumber(static_cast<dev_t>(deviceNumber));
  return device ? std::optional(nodeName(device->name)) : std::nullopt;
}

}  // namespace marrow
