// The handles of registry entries with their references. The same entry has the same handle for as
// long as somebody holds it. Any thread.
#pragma once

#include "host/device_registry.h"
#include "host/linux/block_devices.h"
#include "host/linux/device_tree.h"

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <variant>

namespace marrow {

// A device that is no block device: its directory in sysfs, without links.
struct SysfsEntry {
  std::string directory;
};

using RegistryObject = std::variant<BlockDevice, SysfsEntry, DeviceTreeEntry>;

class RegistryHandles {
 public:
  // One more reference to the object's handle, which is made when nobody holds it.
  RegistryHandle open(const RegistryObject& object);

  // Absent when nobody holds the handle.
  std::optional<RegistryObject> find(RegistryHandle handle) const;

  // An unknown handle is ignored.
  void retain(RegistryHandle handle);
  void release(RegistryHandle handle);

 private:
  struct Holding {
    RegistryObject object;
    std::size_t references = 0;
  };

  mutable std::mutex _mutex;
  std::map<RegistryHandle, Holding> _holdings;  // under _mutex
  RegistryHandle _last = kNoRegistryHandle;     // under _mutex
};

}  // namespace marrow
