#include "host/linux/registry_handles.h"

namespace marrow {

namespace {

bool isSame(const BlockDevice& left, const BlockDevice& right) { return left.isSame(right); }
bool isSame(const SysfsEntry& left, const SysfsEntry& right) {
  return left.directory == right.directory;
}
bool isSame(const DeviceTreeEntry& left, const DeviceTreeEntry& right) {
  return left.path == right.path && left.fromFirmwareVariable == right.fromFirmwareVariable;
}

bool isSameObject(const RegistryObject& left, const RegistryObject& right) {
  return std::visit(
      [&right](const auto& object) {
        const auto* other = std::get_if<std::decay_t<decltype(object)>>(&right);
        return other != nullptr && isSame(object, *other);
      },
      left);
}

}  // namespace

RegistryHandle RegistryHandles::open(const RegistryObject& object) {
  const std::lock_guard lock(_mutex);
  for (auto& [handle, holding] : _holdings) {
    if (isSameObject(holding.object, object)) {
      ++holding.references;
      return handle;
    }
  }
  ++_last;
  _holdings.insert({_last, {object, 1}});
  return _last;
}

std::optional<RegistryObject> RegistryHandles::find(RegistryHandle handle) const {
  const std::lock_guard lock(_mutex);
  const auto found = _holdings.find(handle);
  return found == _holdings.end() ? std::nullopt : std::optional(found->second.object);
}

void RegistryHandles::retain(RegistryHandle handle) {
  const std::lock_guard lock(_mutex);
  if (const auto found = _holdings.find(handle); found != _holdings.end()) {
    ++found->second.references;
  }
}

void RegistryHandles::release(RegistryHandle handle) {
  const std::lock_guard lock(_mutex);
  const auto found = _holdings.find(handle);
  if (found != _holdings.end() && --found->second.references == 0) {
    _holdings.erase(found);
  }
}

}  // namespace marrow
