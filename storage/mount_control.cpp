#include "daemon/close_check.h"
#include "daemon/log_channels.h"
#include "storage/storage_controller.h"

#include <cerrno>
#include <utility>

namespace marrow {

void MWStorageController::startDissentingMounts() {
  if (_dissenter) {
    return;
  }
  auto session = _services.diskArbitration.createSession();
  session->registerMountApproval([this](DADisk& disk) { return _checkDiskMount(disk); });
  session->setQueue(_daQueue);
  _dissenter = std::move(session);
}

void MWStorageController::stopDissentingMounts() {
  if (!_dissenter) {
    return;
  }
  const auto session = std::exchange(_dissenter, nullptr);
  session->setQueue(nullptr);
}

std::optional<DADissent> MWStorageController::_checkDiskMount(DADisk& disk) {
  RegistryEntry entry = disk.copyMediaEntry();
  if (!entry) {
    return std::nullopt;
  }
  const auto media = _services.media.mediaForRegistryEntry(entry.handle());
  if (!media || !isVolumeOfContainer(*media)) {
    return std::nullopt;
  }
  log(operationsLogChannel(), LogLevel::standard, "Dissenting mount of %s", disk.bsdName());
  // A refused disk's entry is held, on purpose, for as long as the daemon runs.
  entry.detach();
  return DADissent{kDAReturnNotPermitted, "in use by marrowd"};
}

bool MWStorageController::isVolumeOfContainer(DVStaticMediaObject& media) const {
  const auto volume = media.asVolume();
  const auto container = volume ? volume->container() : nullptr;
  return container && container->isEqual(*_loamContainer);
}

bool MWStorageController::unmountContainer(ErrorSlot error) {
  const auto volumes = _loamContainer->volumes();
  log(generalLogChannel(), LogLevel::standard, "Ensuring Volumes are Unmounted: %@", volumes);
  bool unmounted = true;
  for (const auto& volume : volumes) {
    if (volume->isMounted() && !unmountVolume(*volume, error)) {
      unmounted = false;
    }
  }
  return unmounted;
}

bool MWStorageController::unmountVolume(DVStaticLoamVolume& volume, ErrorSlot error) {
  const VolumeOptions options = {{DVLoamVolumeUnmountOptionForce, true},
                                 {DVLoamVolumeUnmountOptionAll, true}};
  log(generalLogChannel(), LogLevel::standard, "Unmounting: %@", volume);
  ErrorRef failure;
  if (volume.unmount(options, &failure)) {
    return true;
  }
  log(generalLogChannel(), LogLevel::error, "Failed to unmount (%@). %@", volume, failure);
  storeError(error, std::move(failure));
  return false;
}

bool MWStorageController::syncChangesToDisk(const std::optional<std::string>& path) {
  const CheckedDescriptor descriptor(_services.files, _services.process, openForSync(path));
  if (descriptor.get() == -1) {
    log(generalLogChannel(), LogLevel::error, "Failed to open %@ for fsync: %{tarn.errno}d", path,
        errno);
    return false;
  }
  if (_services.files.fullSync(descriptor.get()) == -1) {
    log(generalLogChannel(), LogLevel::error, "Failed to sync %@ with F_FULLFSYNC: %{tarn.errno}d",
        path, errno);
    return false;
  }
  log(generalLogChannel(), LogLevel::info, "F_FULLFSYNC of %@ succeeded", path);
  return true;
}

// A descriptor, or -1 with errno set. Without waiting, for in a folder's place there may be a FIFO.
int MWStorageController::openForSync(const std::optional<std::string>& path) {
  if (!path) {
    errno = ENOENT;
    return -1;
  }
  return _services.files.open(*path,
                              OpenFlags::readOnly | OpenFlags::nonBlocking | OpenFlags::noLinks);
}

}  // namespace marrow
