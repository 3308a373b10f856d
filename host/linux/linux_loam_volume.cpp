#include "host/linux/linux_loam_volume.h"

#include "host/linux/linux_loam_container.h"

#include <utility>

namespace marrow {

namespace {

bool isSet(const VolumeOptions& options, const char* name) {
  const auto found = options.find(name);
  return found != options.end() && found->second;
}

}  // namespace

std::string LinuxLoamVolume::description() const { return _services.devices.node(_partition); }

std::shared_ptr<DVStaticLoamVolume> LinuxLoamVolume::asVolume() {
  return std::static_pointer_cast<DVStaticLoamVolume>(shared_from_this());
}

std::string LinuxLoamVolume::volumeGroupUUID() {
  auto volume = _services.containers.volumeOn(_partition);
  return volume ? std::move(volume->group) : std::string();
}

std::string LinuxLoamVolume::deviceNode() { return _services.devices.node(_partition); }

RegistryEntry LinuxLoamVolume::mediaEntry() {
  return _services.devices.current(_partition) ? _services.registry.entryOf(_partition)
                                               : RegistryEntry();
}

std::optional<std::string> LinuxLoamVolume::mountPoint() {
  const auto content = _services.encryptedVolumes.mapping(_partition).value_or(_partition);
  for (const auto& mount : _services.mountTable.ofDevice(content.number)) {
    const bool writable = !mount.readOnly && !mount.fileSystemReadOnly;
    if (writable && _services.temporaryMounts.isWhole(mount, content)) {
      return mount.target;
    }
  }
  return std::nullopt;
}

bool LinuxLoamVolume::isMounted() { return _services.unmounter.isMounted(_partition); }

std::optional<std::string> LinuxLoamVolume::mountAtTemporaryPath(const VolumeOptions& options,
                                                                 ErrorSlot error) {
  return _services.temporaryMounts.mount(_partition,
                                         isSet(options, DVLoamVolumeMountOptionReadOnly), error);
}

bool LinuxLoamVolume::unmount(const VolumeOptions& options, ErrorSlot error) {
  auto failure =
      _services.unmounter.unmount(_partition, {isSet(options, DVLoamVolumeUnmountOptionAll),
                                               isSet(options, DVLoamVolumeUnmountOptionForce),
                                               isSet(options, DVLoamVolumeUnmountOptionDoNotLock)});
  const bool unmounted = failure == nullptr;
  if (!unmounted) {
    storeError(error, std::move(failure));
  }
  return unmounted;
}

std::shared_ptr<DVStaticLoamContainer> LinuxLoamVolume::container() {
  const auto disk = _services.devices.find(_partition.disk);
  const bool isThere = disk && _services.containers.volumeOn(_partition);
  return isThere ? std::make_shared<LinuxLoamContainer>(_services, *disk) : nullptr;
}

}  // namespace marrow
