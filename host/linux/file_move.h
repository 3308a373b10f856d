// Moves a regular file across file systems with everything that belongs to it.
#pragma once

#include "host/log.h"

#include <string>

namespace marrow {

// See LinuxFileTrees::moveFile. 0, or -1 with errno set.
int moveRegularFile(const std::string& from, const std::string& to, LogHandle& log);

}  // namespace marrow
