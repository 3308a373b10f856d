#include "daemon/log_channels.h"
#include "host/paths.h"
#include "storage/storage_controller.h"

#include <cerrno>
#include <utility>

namespace marrow {

namespace {

constexpr char kServicePlane[] = "IOService";
constexpr char kMediaClass[] = "CorvaneLoamMedia";

// Some volume of the group.
RegistryEntry volumeOfGroup(DeviceRegistry& registry, const std::string& uuid) {
  PropertyListDictionary properties;
  properties.set("VolGroupUUID", uuid);
  return {registry, registry.firstMatchingService({"CorvaneLoamVolume", std::move(properties)})};
}

// The container's media above the entry, or, where there is none, the topmost entry.
RegistryEntry mediaAbove(DeviceRegistry& registry, RegistryEntry entry) {
  do {
    RegistryEntry parent(registry, registry.parent(entry.handle(), kServicePlane));
    if (!parent) {
      break;
    }
    entry = std::move(parent);
  } while (!registry.conformsTo(entry.handle(), kMediaClass));
  return entry;
}

}  // namespace

std::shared_ptr<DVStaticLoamContainer> MWStorageController::_loamContainerForVolumeGroup(
    DeviceRegistry& registry, DVStaticMedia& media, const std::string& uuid) {
  RegistryEntry volume = volumeOfGroup(registry, uuid);
  if (!volume) {
    return nullptr;
  }
  const RegistryEntry entry = mediaAbove(registry, std::move(volume));
  const auto property = registry.property(entry.handle(), "BSD Name");
  const auto* name = property ? property->as<std::string>() : nullptr;
  const auto found = name != nullptr ? media.mediaForBSDName(*name) : nullptr;
  return found ? found->asContainer() : nullptr;
}

std::shared_ptr<DVStaticLoamVolume> MWStorageController::systemVolume() {
  return _volumeInGroupWithRole(kSystemVolumeRole);
}

std::shared_ptr<DVStaticLoamVolume> MWStorageController::dataVolume() {
  return _volumeInGroupWithRole(kDataVolumeRole);
}

std::shared_ptr<DVStaticLoamVolume> MWStorageController::_volumeInGroupWithRole(std::int32_t role) {
  for (auto& volume : _loamContainer->volumesWithRole(role)) {
    if (volume->volumeGroupUUID() == _volumeGroupUUID) {
      return volume;
    }
  }
  return nullptr;
}

std::optional<std::string> MWStorageController::dataVolumeDevNode() {
  const auto volume = dataVolume();
  return volume ? std::optional(volume->deviceNode()) : std::nullopt;
}

std::optional<std::string> MWStorageController::prebootVolumeMountPoint() {
  return _mountPointForVolume(_loamContainer->prebootVolume(), "preboot");
}

std::optional<std::string> MWStorageController::recoveryVolumeMountPoint() {
  return _mountPointForVolume(_loamContainer->recoveryVolume(), "recovery");
}

std::optional<std::string> MWStorageController::updateVolumeMountPoint() {
  return _mountPointForVolume(_loamContainer->updateVolume(), "update");
}

std::optional<std::string> MWStorageController::_mountPointForVolume(
    const std::shared_ptr<DVStaticLoamVolume>& volume, const std::string& roleName) {
  if (!volume) {
    log(generalLogChannel(), LogLevel::error, "Failed to find %@ volume for container: %@",
        roleName, _loamContainer);
    return std::nullopt;
  }
  if (auto mountPoint = settledMountPoint(*volume)) {
    return mountPoint;
  }
  ErrorRef error;
  if (auto mountPoint = volume->mountAtTemporaryPath({}, &error)) {
    return mountPoint;
  }
  // The system may have mounted it meanwhile, which is why our own mount failed.
  if (auto mountPoint = settledMountPoint(*volume)) {
    return mountPoint;
  }
  log(generalLogChannel(), LogLevel::error,
      "Failed to mount %@ volume at temporary path for container: %@. %@", roleName, _loamContainer,
      error);
  return std::nullopt;
}

std::optional<std::string> MWStorageController::settledMountPoint(DVStaticLoamVolume& volume) {
  if (const RegistryEntry entry = volume.mediaEntry()) {
    _services.deviceRegistry.waitQuiet(entry.handle());
  }
  return volume.mountPoint();
}

std::optional<PropertyListDictionary> MWStorageController::templateMigrationCookie() {
  ErrorRef error;
  auto cookie = readTemplateMigrationCookie(&error);
  if (!cookie) {
    log(operationsLogChannel(), LogLevel::standard, "Failed to load Template Migration cookie: %@",
        error);
  }
  return cookie;
}

std::optional<PropertyListDictionary> MWStorageController::readTemplateMigrationCookie(
    ErrorSlot error) {
  const auto preboot = prebootVolumeMountPoint();
  if (!preboot) {
    storeError(error,
               makePOSIXError(ENOENT, {{kLocalizedDescriptionKey, errorNumberText(ENOENT)}}));
    return std::nullopt;
  }
  const std::string group = appendPathComponent(*preboot, _volumeGroupUUID);
  return _services.propertyListFiles.readDictionary(
      appendPathComponent(group, "var/db/.com.corvane.templatemigration"), error);
}

}  // namespace marrow
