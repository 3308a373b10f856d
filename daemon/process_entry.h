// The start of the daemon on a machine.
#pragma once

#include "daemon/daemon_manager.h"
#include "host/host.h"

namespace marrow {

// The exit status of a daemon that was started outside the base system.
inline constexpr int kNotInBaseSystem = 77;

// The services of the machine that the daemon manager, and what it builds, is given.
MWDaemonManager::Services daemonServices(const Host& host);

// Runs the daemon on the calling thread, which must be the main one. Returns kNotInBaseSystem, with
// nothing touched, outside the base system, and 0 when the main loop ends; on a real machine the
// process ends before that, by its reboot.
int processEntry(const Host& host);

}  // namespace marrow
