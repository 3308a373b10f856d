// The device registry: a tree of entries, with a count of the references that were handed out.
// Giving back more than was taken, and using an entry without a reference, fail the test.
#pragma once

#include "host/device_registry.h"
#include "tests/host/calls.h"

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace marrow {

// A new entry.
struct RegistryEntryDescription {
  std::string registryClass;
  std::vector<std::string> superclasses;  // that it conforms to as well
  RegistryHandle parent = kNoRegistryHandle;
  PropertyListDictionary properties;
  std::string path;  // such as "IODeviceTree:/chosen/asmb"; may be empty
};

class InMemoryRegistry : public DeviceRegistry {
 public:
  explicit InMemoryRegistry(Calls& calls) : _calls(calls) {}

  // The journal names an entry by its path, else its BSD name, else its class.
  RegistryHandle firstMatchingService(const RegistryMatch& match) override;
  RegistryHandle entryFromPath(std::string_view path) override;
  RegistryHandle parent(RegistryHandle entry, std::string_view plane) override;
  bool conformsTo(RegistryHandle entry, std::string_view registryClass) override;
  std::optional<PropertyListValue> property(RegistryHandle entry, std::string_view name) override;
  void waitQuiet(RegistryHandle entry) override;
  void retain(RegistryHandle entry) override;
  void release(RegistryHandle entry) override;

  // Adds an entry behind the others; no reference is taken. Entries are found in this order.
  RegistryHandle add(RegistryEntryDescription description);
  // Takes it out of the tree, with what is below it; references stay valid.
  void remove(RegistryHandle entry);
  void setProperty(RegistryHandle entry, const std::string& name, PropertyListValue value);
  void removeProperty(RegistryHandle entry, const std::string& name);

  // The entry with this BSD name, or with this path; none when there is none. Takes no reference.
  RegistryHandle named(std::string_view bsdName) const;
  RegistryHandle atPath(std::string_view path) const;

  // A new reference, as a service hands one out; for the services.
  RegistryHandle reference(RegistryHandle entry);
  // What the entry says of itself, without a reference; for the services.
  bool isOfClass(RegistryHandle entry, std::string_view registryClass) const;
  std::string bsdName(RegistryHandle entry) const;

  // References that were taken and not given back: of an entry, and of all.
  int references(RegistryHandle entry) const;
  int references() const;

 private:
  struct Entry {
    RegistryEntryDescription description;
    int references = 0;
    bool removed = false;
  };

  using Predicate = std::function<bool(const RegistryEntryDescription&)>;

  Entry* used(RegistryHandle entry);
  RegistryHandle first(const Predicate& predicate) const;
  RegistryHandle referenceTo(const Predicate& predicate);
  std::string describe(RegistryHandle entry) const;

  Calls& _calls;
  std::map<RegistryHandle, Entry> _entries;
  RegistryHandle _last = kNoRegistryHandle;
};

}  // namespace marrow
