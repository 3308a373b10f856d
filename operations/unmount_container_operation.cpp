#include "operations/unmount_container_operation.h"

#include "daemon/log_channels.h"
#include "host/partition_library.h"
#include "operations/operation_storage.h"

namespace marrow {

bool MWUnmountContainerOperation::execute() {
  const auto controller = storageControllerOf(*this);
  ErrorRef error;
  if (!controller || !cacheDataVolumeKeys(*controller, &error)) {
    log(operationsLogChannel(), LogLevel::error, LogEvent::volumeKeysNotCached,
        "Unable to cache data volume keys. %@", error);
    setError(error);
    return false;
  }
  if (!controller->unmountContainer(&error)) {
    log(operationsLogChannel(), LogLevel::error, LogEvent::containerNotOffline,
        "Unable to take container offline. %@", error);
    setError(error);
    return false;
  }
  return true;
}

// The keys are loaded by mounting the volume, and kept by not locking it when it is unmounted. One
// map serves both calls: each reads the key that concerns it.
bool MWUnmountContainerOperation::cacheDataVolumeKeys(MWStorageController& controller,
                                                      ErrorSlot error) {
  controller.startDissentingMounts();
  const VolumeOptions options = {{DVLoamVolumeMountOptionReadOnly, true},
                                 {DVLoamVolumeUnmountOptionDoNotLock, true}};
  const auto volume = controller.dataVolume();
  return volume && volume->mountAtTemporaryPath(options, error) && volume->unmount(options, error);
}

}  // namespace marrow
