// What belongs to a file beside its contents.
#pragma once

#include "host/log.h"

#include <sys/stat.h>

namespace marrow {

// Gives `to` the ownership, permissions, access list and extended attributes (xattr(7)) of `from`,
// both descriptors. What the file system of `to` cannot hold is left out, which the log tells.
// False with errno set.
bool copyFileMetadata(int from, int to, LogHandle& log);

// Gives `to` the times of last access and modification in `status` (futimens(3)), to the
// nanosecond. False with errno set.
bool setFileTimes(const struct stat& status, int to);

}  // namespace marrow
