// Device names from sysfs. Linux has no raw twin of a block device, so that a program which is
// handed the raw node's name gets the block node's own. Any thread.
#pragma once

#include "host/device_names.h"
#include "host/linux/block_devices.h"

namespace marrow {

class LinuxDeviceNames : public DeviceNames {
 public:
  explicit LinuxDeviceNames(const BlockDevices& devices) : _devices(devices) {}

  std::optional<std::string> characterDeviceName(std::uint64_t deviceNumber) override;

 private:
  const BlockDevices& _devices;
};

}  // namespace marrow
