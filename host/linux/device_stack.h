// Which block devices stand on which others: device-mapper and RAID devices on their slaves, a loop
// device on the block device that backs it. Any thread.
#pragma once

#include "host/linux/block_devices.h"

#include <vector>

namespace marrow {

class DeviceStack {
 public:
  explicit DeviceStack(const BlockDevices& devices) : _devices(devices) {}

  // The devices right below this one; a partition has those of its disk. Empty for a device of its
  // own, a loop device over a regular file among them.
  std::vector<BlockDevice> below(const BlockDevice& device) const;

  // The devices that the kernel registered as standing on this one ("holders" in sysfs). A loop
  // device is not among them.
  std::vector<std::string> above(const BlockDevice& device) const;

  // The loop devices that show bytes of this device a second time: those over its node, and those
  // over its disk where they meet it. Where a loop device has partitions, these in its place.
  std::vector<BlockDevice> loopsOver(const BlockDevice& device) const;

 private:
  const BlockDevices& _devices;
};

}  // namespace marrow
