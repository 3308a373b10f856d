#include "tests/host/in_memory_media.h"

#include <cerrno>
#include <utility>

namespace marrow {

namespace {

bool isSet(const VolumeOptions& options, const char* key) {
  const auto found = options.find(key);
  return found != options.end() && found->second;
}

std::string describeOptions(const VolumeOptions& options) {
  std::string text;
  for (const auto& [key, value] : options) {
    text += (text.empty() ? "" : ", ") + key + (value ? "=true" : "=false");
  }
  return "{" + text + "}";
}

VolumeRole roleOf(std::int32_t code) {
  return code == kSystemVolumeRole ? VolumeRole::system
         : code == kDataVolumeRole ? VolumeRole::data
                                   : VolumeRole::other;
}

}  // namespace

InMemoryContainer::InMemoryContainer(InMemoryPartitions& library, std::string disk)
    : _library(library), _disk(std::move(disk)) {}

std::shared_ptr<DVStaticLoamContainer> InMemoryContainer::asContainer() {
  return std::static_pointer_cast<DVStaticLoamContainer>(shared_from_this());
}

std::vector<std::shared_ptr<DVStaticLoamVolume>> InMemoryContainer::volumes() {
  if (_library._calls.made("DVStaticLoamContainer.volumes", description())) {
    return {};
  }
  return volumesWhere([](const VolumeDescription&) { return true; });
}

std::vector<std::shared_ptr<DVStaticLoamVolume>> InMemoryContainer::volumesWithRole(
    std::int32_t role) {
  const std::string arguments = description() + " " + std::to_string(role);
  if (_library._calls.made("DVStaticLoamContainer.volumesWithRole", arguments)) {
    return {};
  }
  if (roleOf(role) == VolumeRole::other) {
    return {};
  }
  return volumesWhere([&](const VolumeDescription& volume) { return volume.role == roleOf(role); });
}

std::shared_ptr<DVStaticLoamVolume> InMemoryContainer::prebootVolume() {
  return first(VolumeRole::preboot, "DVStaticLoamContainer.prebootVolume");
}

std::shared_ptr<DVStaticLoamVolume> InMemoryContainer::recoveryVolume() {
  return first(VolumeRole::recovery, "DVStaticLoamContainer.recoveryVolume");
}

std::shared_ptr<DVStaticLoamVolume> InMemoryContainer::updateVolume() {
  return first(VolumeRole::update, "DVStaticLoamContainer.updateVolume");
}

bool InMemoryContainer::isEqual(const DVStaticLoamContainer& other) const {
  return description() == other.description();
}

std::vector<std::shared_ptr<DVStaticLoamVolume>> InMemoryContainer::volumesWhere(
    const std::function<bool(const VolumeDescription&)>& wanted) {
  Volumes volumes;
  for (const std::string& name : _library.volumesOf(_disk)) {
    if (wanted(*_library.description(name))) {
      volumes.push_back(std::make_shared<InMemoryVolume>(_library, name));
    }
  }
  return volumes;
}

std::shared_ptr<DVStaticLoamVolume> InMemoryContainer::first(VolumeRole role,
                                                             const std::string& call) {
  if (_library._calls.made(call, description())) {
    return nullptr;
  }
  const Volumes volumes =
      volumesWhere([&](const VolumeDescription& volume) { return volume.role == role; });
  return volumes.empty() ? nullptr : volumes.front();
}

InMemoryVolume::InMemoryVolume(InMemoryPartitions& library, std::string name)
    : _library(library), _name(std::move(name)) {}

std::shared_ptr<DVStaticLoamVolume> InMemoryVolume::asVolume() {
  return std::static_pointer_cast<DVStaticLoamVolume>(shared_from_this());
}

std::string InMemoryVolume::volumeGroupUUID() {
  const auto volume = _library.description(_name);
  return made("volumeGroupUUID") || !volume ? "" : volume->group;
}

std::string InMemoryVolume::deviceNode() {
  _library._calls.note("DVStaticLoamVolume.deviceNode", description());
  return description();
}

RegistryEntry InMemoryVolume::mediaEntry() {
  if (made("mediaEntry")) {
    return {};
  }
  return {_library._registry, _library._registry.reference(_library._registry.named(_name))};
}

std::optional<std::string> InMemoryVolume::mountPoint() {
  return made("mountPoint") ? std::nullopt : _library.writableMountPoint(_name);
}

bool InMemoryVolume::isMounted() { return !made("isMounted") && _library.isMounted(_name); }

std::optional<std::string> InMemoryVolume::mountAtTemporaryPath(const VolumeOptions& options,
                                                                ErrorSlot error) {
  const std::string reason = "Cannot mount " + description();
  auto failure = made("mountAtTemporaryPath", describeOptions(options));
  if (!failure && !_library.isVolume(_name)) {
    failure = Failure{ENOENT, nullptr};
  }
  if (failure) {
    storeError(error, failure->record(reason));
    return std::nullopt;
  }
  return _library.mountTemporarily(_library.known(_name),
                                   isSet(options, DVLoamVolumeMountOptionReadOnly));
}

bool InMemoryVolume::unmount(const VolumeOptions& options, ErrorSlot error) {
  const std::string reason = "Cannot unmount " + description();
  auto failure = made("unmount", describeOptions(options));
  if (!failure && _library.isVolume(_name)) {
    const int busy = _library.unmount(_library.known(_name), options);
    failure = busy == 0 ? std::nullopt : std::optional(Failure{busy, nullptr});
  }
  if (failure) {
    storeError(error, failure->record(reason));
  }
  return !failure;
}

std::shared_ptr<DVStaticLoamContainer> InMemoryVolume::container() {
  const auto failure = made("container");
  const auto* volume = _library.find(_name);
  return failure || volume == nullptr ? nullptr
                                      : std::make_shared<InMemoryContainer>(_library, volume->disk);
}

std::optional<Failure> InMemoryVolume::made(const std::string& method,
                                            const std::string& arguments) {
  return _library._calls.made("DVStaticLoamVolume." + method,
                              description() + (arguments.empty() ? "" : " ") + arguments);
}

}  // namespace marrow
