// What backs a loop device, as the loop driver itself tells (loop(4)), whatever the path of the
// file in this or another mount namespace. Any thread.
#pragma once

#include <optional>
#include <string>
#include <sys/types.h>

namespace marrow {

struct LoopBacking {
  dev_t fileSystem = 0;         // st_dev of the backing file
  std::optional<dev_t> device;  // st_rdev, when the backing file is a block device
};

// Absent when the node is no loop device or nothing backs it.
std::optional<LoopBacking> loopBacking(const std::string& node);

}  // namespace marrow
