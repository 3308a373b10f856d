// What backs a loop device, as the loop driver itself tells (loop(4)), whatever the path of the
// file in this or another mount namespace. Any thread.
#pragma once

#include "host/linux/block_devices.h"

#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>

namespace marrow {

struct LoopBacking {
  dev_t fileSystem = 0;         // st_dev of the backing file
  std::optional<dev_t> device;  // st_rdev, when the backing file is a block device
  std::uint64_t offset = 0;     // where in it the loop device begins, in bytes
};

// Absent when the node is no loop device or nothing backs it.
std::optional<LoopBacking> loopBacking(const std::string& node);

// The same for a device of any kind; opens none that is not a loop device in use.
std::optional<LoopBacking> loopBackingOf(const BlockDevices& devices, const BlockDevice& disk);

}  // namespace marrow
