// What a block device holds, by its superblocks (libblkid). Any thread.
#pragma once

#include "host/error_record.h"

#include <optional>
#include <string>

namespace marrow {

// The name under which the kernel knows the device's file system. Absent with an error record when
// the device cannot be read, holds no file system or signs of several, or is encrypted
// (EOPNOTSUPP).
std::optional<std::string> probeFileSystem(const std::string& node, ErrorSlot error);

}  // namespace marrow
