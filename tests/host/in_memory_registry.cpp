#include "tests/host/in_memory_registry.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <utility>

namespace marrow {

namespace {

bool isOf(const RegistryEntryDescription& entry, std::string_view registryClass) {
  return entry.registryClass == registryClass ||
         std::find(entry.superclasses.begin(), entry.superclasses.end(), registryClass) !=
             entry.superclasses.end();
}

bool hasAll(const RegistryEntryDescription& entry, const PropertyListDictionary& wanted) {
  return std::all_of(wanted.entries().begin(), wanted.entries().end(),
                     [&](const PropertyListEntry& property) {
                       const auto* value = entry.properties.find(property.key);
                       return value != nullptr && *value == property.value;
                     });
}

std::string textProperty(const RegistryEntryDescription& entry, std::string_view name) {
  const auto* value = entry.properties.find(name);
  const auto* text = value == nullptr ? nullptr : value->as<std::string>();
  return text == nullptr ? "" : *text;
}

std::string describeMatch(const RegistryMatch& match) {
  std::string text = match.providerClass;
  for (const PropertyListEntry& property : match.properties.entries()) {
    const auto* value = property.value.as<std::string>();
    text += " " + property.key + "=" + (value == nullptr ? "..." : *value);
  }
  return text;
}

}  // namespace

RegistryHandle InMemoryRegistry::firstMatchingService(const RegistryMatch& match) {
  if (_calls.made("DeviceRegistry.firstMatchingService", describeMatch(match))) {
    return kNoRegistryHandle;
  }
  return referenceTo([&](const RegistryEntryDescription& entry) {
    return isOf(entry, match.providerClass) && hasAll(entry, match.properties);
  });
}

RegistryHandle InMemoryRegistry::entryFromPath(std::string_view path) {
  if (_calls.made("DeviceRegistry.entryFromPath", std::string(path))) {
    return kNoRegistryHandle;
  }
  return reference(atPath(path));
}

RegistryHandle InMemoryRegistry::parent(RegistryHandle entry, std::string_view plane) {
  const std::string arguments = describe(entry) + " " + std::string(plane);
  if (_calls.made("DeviceRegistry.parent", arguments)) {
    return kNoRegistryHandle;
  }
  const Entry* child = used(entry);
  return child == nullptr || child->removed ? kNoRegistryHandle
                                            : reference(child->description.parent);
}

bool InMemoryRegistry::conformsTo(RegistryHandle entry, std::string_view registryClass) {
  const std::string arguments = describe(entry) + " " + std::string(registryClass);
  if (_calls.made("DeviceRegistry.conformsTo", arguments)) {
    return false;
  }
  const Entry* asked = used(entry);
  return asked != nullptr && isOf(asked->description, registryClass);
}

std::optional<PropertyListValue> InMemoryRegistry::property(RegistryHandle entry,
                                                            std::string_view name) {
  const std::string arguments = describe(entry) + " " + std::string(name);
  if (_calls.made("DeviceRegistry.property", arguments)) {
    return std::nullopt;
  }
  const Entry* asked = used(entry);
  const auto* value = asked == nullptr ? nullptr : asked->description.properties.find(name);
  return value == nullptr ? std::nullopt : std::optional(*value);
}

void InMemoryRegistry::waitQuiet(RegistryHandle entry) {
  _calls.note("DeviceRegistry.waitQuiet", describe(entry));
  used(entry);
}

void InMemoryRegistry::retain(RegistryHandle entry) {
  _calls.note("DeviceRegistry.retain", describe(entry));
  if (Entry* kept = used(entry)) {
    ++kept->references;
  }
}

void InMemoryRegistry::release(RegistryHandle entry) {
  _calls.note("DeviceRegistry.release", describe(entry));
  if (Entry* given = used(entry)) {
    --given->references;
  }
}

RegistryHandle InMemoryRegistry::add(RegistryEntryDescription description) {
  _entries[++_last].description = std::move(description);
  return _last;
}

void InMemoryRegistry::remove(RegistryHandle entry) {
  _entries[entry].removed = true;
  for (const auto& [handle, other] : _entries) {
    if (other.description.parent == entry && !other.removed) {
      remove(handle);
    }
  }
}

void InMemoryRegistry::setProperty(RegistryHandle entry, const std::string& name,
                                   PropertyListValue value) {
  ASSERT_TRUE(_entries.contains(entry)) << "no such entry";
  _entries[entry].description.properties.set(name, std::move(value));
}

void InMemoryRegistry::removeProperty(RegistryHandle entry, const std::string& name) {
  ASSERT_TRUE(_entries.contains(entry)) << "no such entry";
  PropertyListDictionary kept;
  for (const PropertyListEntry& property : _entries[entry].description.properties.entries()) {
    if (property.key != name) {
      kept.set(property.key, property.value);
    }
  }
  _entries[entry].description.properties = std::move(kept);
}

RegistryHandle InMemoryRegistry::named(std::string_view bsdName) const {
  return first([&](const RegistryEntryDescription& entry) {
    return textProperty(entry, "BSD Name") == bsdName;
  });
}

RegistryHandle InMemoryRegistry::atPath(std::string_view path) const {
  return first([&](const RegistryEntryDescription& entry) { return entry.path == path; });
}

RegistryHandle InMemoryRegistry::reference(RegistryHandle entry) {
  if (entry != kNoRegistryHandle) {
    ++_entries[entry].references;
  }
  return entry;
}

bool InMemoryRegistry::isOfClass(RegistryHandle entry, std::string_view registryClass) const {
  const auto found = _entries.find(entry);
  return found != _entries.end() && isOf(found->second.description, registryClass);
}

std::string InMemoryRegistry::bsdName(RegistryHandle entry) const {
  const auto found = _entries.find(entry);
  return found == _entries.end() ? "" : textProperty(found->second.description, "BSD Name");
}

int InMemoryRegistry::references(RegistryHandle entry) const {
  const auto found = _entries.find(entry);
  return found == _entries.end() ? 0 : found->second.references;
}

int InMemoryRegistry::references() const {
  int count = 0;
  for (const auto& [handle, entry] : _entries) {
    count += entry.references;
  }
  return count;
}

InMemoryRegistry::Entry* InMemoryRegistry::used(RegistryHandle entry) {
  if (entry == kNoRegistryHandle) {
    return nullptr;
  }
  const auto found = _entries.find(entry);
  if (found == _entries.end() || found->second.references == 0) {
    ADD_FAILURE() << "the entry " << describe(entry) << " is used without a reference";
    return nullptr;
  }
  return &found->second;
}

RegistryHandle InMemoryRegistry::first(const Predicate& predicate) const {
  const auto found = std::find_if(_entries.begin(), _entries.end(), [&](const auto& entry) {
    return !entry.second.removed && predicate(entry.second.description);
  });
  return found == _entries.end() ? kNoRegistryHandle : found->first;
}

RegistryHandle InMemoryRegistry::referenceTo(const Predicate& predicate) {
  return reference(first(predicate));
}

std::string InMemoryRegistry::describe(RegistryHandle entry) const {
  const auto found = _entries.find(entry);
  if (found == _entries.end()) {
    return entry == kNoRegistryHandle ? "none" : std::to_string(entry);
  }
  const RegistryEntryDescription& description = found->second.description;
  const std::string name = textProperty(description, "BSD Name");
  return !description.path.empty() ? description.path
         : !name.empty()           ? name
                                   : description.registryClass;
}

}  // namespace marrow
