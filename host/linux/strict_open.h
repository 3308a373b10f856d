// Opening what lies on a volume: whoever wrote to the volume must not lead the daemon out of it.
#pragma once

#include "host/linux/descriptor.h"

#include <string>

namespace marrow {

// open(2) with these flags and O_CLOEXEC; a path that leads through a link, or is one, fails with
// ELOOP (openat2(2), RESOLVE_NO_SYMLINKS). None with errno set.
Descriptor openWithoutLinks(const std::string& path, int flags);

}  // namespace marrow
