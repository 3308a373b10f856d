#include "host/linux/system_bus_library.h"

#include "host/linux/shared_library.h"

namespace marrow {

bool SystemBusLibrary::load(const char* library) {
  const SharedLibrary bus(library);
  return bus.find("sd_bus_new", create) && bus.find("sd_bus_close_unref", closeUnref) &&
         bus.find("sd_bus_set_address", setAddress) &&
         bus.find("sd_bus_set_bus_client", setBusClient) &&
         bus.find("sd_bus_negotiate_fds", negotiateDescriptors) &&
         bus.find("sd_bus_start", start) && bus.find("sd_bus_is_ready", isReady) &&
         bus.find("sd_bus_process", process) && bus.find("sd_bus_wait", wait) &&
         bus.find("sd_bus_set_method_call_timeout", setMethodCallTimeout) &&
         bus.find("sd_bus_call_method", callMethod) && bus.find("sd_bus_error_free", errorFree) &&
         bus.find("sd_bus_message_read", messageRead) &&
         bus.find("sd_bus_message_unref", messageUnref);
}

}  // namespace marrow
