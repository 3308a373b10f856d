// Names of devices by number. Any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace marrow {

class DeviceNames {
 public:
  virtual ~DeviceNames() = default;

  // The name below /dev under which this device number is registered as a raw (character) device,
  // devname_r(3); on Linux, which has no raw twin of a block device, the block node's own name.
  // Absent when no device has this number.
  virtual std::optional<std::string> characterDeviceName(std::uint64_t deviceNumber) = 0;
};

}  // namespace marrow
