// Disks come when they are ready, which may be long after the base system has started.
#pragma once

#include "host/linux/linux_disks.h"
#include "host/log.h"

#include <chrono>
#include <string>

namespace marrow {

// Returns true as soon as a system volume of this group (compared exactly) is there, false when
// none has come within `limit`. Sleeps in between: the kernel tells of each device that appears.
// Only sysfs, /proc and /dev of the roots are looked at. What hinders the waiting is logged.
bool waitForSystemVolume(const std::string& group, std::chrono::milliseconds limit, LogHandle& log,
                         const LinuxDiskRoots& roots = {});

}  // namespace marrow
