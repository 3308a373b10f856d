// Locks of logind that keep the machine from sleeping or from counting as idle
// (org.freedesktop.login1(5), Inhibit).
#pragma once

#include "host/linux/descriptor.h"

#include <string>

namespace marrow {

inline constexpr char kSystemBusSocket[] = "/run/dbus/system_bus_socket";
inline constexpr char kSystemBusLibrary[] = "libsystemd.so.0";

struct SleepInhibitor {
  std::string what;  // "sleep", "idle"
  std::string who;   // who asks and why, for people to read
  std::string why;
};

// Asks logind, by the system bus at the socket, for a lock of mode "block". The descriptor is the
// lock: closing it gives the lock back. Without a descriptor and with errno set when there is none:
// ENOENT or ECONNREFUSED without a bus, ELIBACC where libsystemd is missing, ETIMEDOUT when the bus
// or logind has not answered within a second, EHOSTUNREACH when nobody is logind on this bus,
// EACCES when logind refuses. Any thread.
Descriptor takeSleepInhibitor(const std::string& socket, const SleepInhibitor& inhibitor,
                              const char* library = kSystemBusLibrary);

}  // namespace marrow
