// The registry of the machine's devices: entries with a class and properties, in a tree. An entry
// is reached through a handle that must be given back; RegistryEntry does that. Any thread.
#pragma once

#include "host/property_list.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace marrow {

// 0 is no entry. Each handle that a call hands back counts as one reference.
using RegistryHandle = std::uint64_t;

inline constexpr RegistryHandle kNoRegistryHandle = 0;

// Which services to look for: those of a class that have all of these properties.
struct RegistryMatch {
  std::string providerClass;          // "IOProviderClass"
  PropertyListDictionary properties;  // "IOPropertyMatch"
};

class DeviceRegistry {
 public:
  virtual ~DeviceRegistry() = default;

  // The first service that matches, or no entry. The caller releases it.
  virtual RegistryHandle firstMatchingService(const RegistryMatch& match) = 0;

  // The entry with this path, such as "IODeviceTree:/chosen/asmb", or no entry. The caller
  // releases it.
  virtual RegistryHandle entryFromPath(std::string_view path) = 0;

  // The entry above in this plane, or no entry at the root. The caller releases it; the entry that
  // was given stays the caller's.
  virtual RegistryHandle parent(RegistryHandle entry, std::string_view plane) = 0;

  virtual bool conformsTo(RegistryHandle entry, std::string_view registryClass) = 0;

  // Absent when the entry has no such property, or it cannot be read.
  virtual std::optional<PropertyListValue> property(RegistryHandle entry,
                                                    std::string_view name) = 0;

  // Returns when no registration or matching is in progress below the entry; waits without a limit.
  virtual void waitQuiet(RegistryHandle entry) = 0;

  // Takes one more reference, or gives one back; no entry is ignored.
  virtual void retain(RegistryHandle entry) = 0;
  virtual void release(RegistryHandle entry) = 0;
};

// One reference to an entry, given back at the end. Null when it holds no entry.
class RegistryEntry {
 public:
  RegistryEntry() = default;
  RegistryEntry(DeviceRegistry& registry, RegistryHandle handle)
      : _registry(&registry), _handle(handle) {}
  RegistryEntry(RegistryEntry&& other) noexcept
      : _registry(other._registry), _handle(other.detach()) {}
  RegistryEntry& operator=(RegistryEntry&& other) noexcept {
    std::swap(_registry, other._registry);
    std::swap(_handle, other._handle);
    return *this;
  }
  RegistryEntry(const RegistryEntry&) = delete;
  RegistryEntry& operator=(const RegistryEntry&) = delete;
  ~RegistryEntry() {
    if (_handle != kNoRegistryHandle) {
      _registry->release(_handle);
    }
  }

  explicit operator bool() const { return _handle != kNoRegistryHandle; }
  RegistryHandle handle() const { return _handle; }

  // Keeps the reference from being given back.
  RegistryHandle detach() { return std::exchange(_handle, kNoRegistryHandle); }

 private:
  DeviceRegistry* _registry = nullptr;
  RegistryHandle _handle = kNoRegistryHandle;
};

}  // namespace marrow
