// The part of libsystemd that speaks to a message bus, loaded when a bus is there to speak to: a
// base system without one needs no such library.
#pragma once

#include <systemd/sd-bus.h>

namespace marrow {

// The functions of sd-bus(3) under their own names, without "sd_bus_". The library stays loaded.
struct SystemBusLibrary {
  decltype(&::sd_bus_new) create;
  decltype(&::sd_bus_close_unref) closeUnref;
  decltype(&::sd_bus_set_address) setAddress;
  decltype(&::sd_bus_set_bus_client) setBusClient;
  decltype(&::sd_bus_negotiate_fds) negotiateDescriptors;
  decltype(&::sd_bus_start) start;
  decltype(&::sd_bus_is_ready) isReady;
  decltype(&::sd_bus_process) process;
  decltype(&::sd_bus_wait) wait;
  decltype(&::sd_bus_set_method_call_timeout) setMethodCallTimeout;
  decltype(&::sd_bus_call_method) callMethod;
  decltype(&::sd_bus_error_free) errorFree;
  decltype(&::sd_bus_message_read) messageRead;
  decltype(&::sd_bus_message_unref) messageUnref;

  // False when the library of this name (dlopen(3)), or a function of it, is missing.
  bool load(const char* library);
};

}  // namespace marrow
