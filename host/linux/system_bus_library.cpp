#include "host/linux/system_bus_library.h"

#include <dlfcn.h>

namespace marrow {

namespace {

template <typename Function>
bool findFunction(void* library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(::dlsym(library, name));
  return function != nullptr;
}

}  // namespace

bool SystemBusLibrary::load(const char* library) {
  void* const bus = ::dlopen(library, RTLD_NOW | RTLD_LOCAL);
  return bus != nullptr && findFunction(bus, "sd_bus_new", create) &&
         findFunction(bus, "sd_bus_close_unref", closeUnref) &&
         findFunction(bus, "sd_bus_set_address", setAddress) &&
         findFunction(bus, "sd_bus_set_bus_client", setBusClient) &&
         findFunction(bus, "sd_bus_negotiate_fds", negotiateDescriptors) &&
         findFunction(bus, "sd_bus_start", start) &&
         findFunction(bus, "sd_bus_is_ready", isReady) &&
         findFunction(bus, "sd_bus_process", process) && findFunction(bus, "sd_bus_wait", wait) &&
         findFunction(bus, "sd_bus_set_method_call_timeout", setMethodCallTimeout) &&
         findFunction(bus, "sd_bus_call_method", callMethod) &&
         findFunction(bus, "sd_bus_error_free", errorFree) &&
         findFunction(bus, "sd_bus_message_read", messageRead) &&
         findFunction(bus, "sd_bus_message_unref", messageUnref);
}

}  // namespace marrow
