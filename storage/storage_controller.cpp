#include "storage/storage_controller.h"

#include "host/text_format.h"
#include "host/unicode.h"

#include <cerrno>
#include <utility>

namespace marrow {

namespace {

constexpr char kDASessionQueueLabel[] = "MWStorageController.DASession";

UserInfo withDescription(std::string description) {
  return {{kLocalizedDescriptionKey, std::move(description)}};
}

}  // namespace

std::shared_ptr<MWStorageController> MWStorageController::initWithError(const Services& services,
                                                                        ErrorSlot error) {
  auto uuid = _stringForSysctl(services.kernelVariables, "kern.bootuuid", error);
  if (!uuid) {
    return nullptr;
  }
  auto path = _stringForSysctl(services.kernelVariables, "kern.bootobjectspath", error);
  if (!path) {
    return nullptr;
  }
  auto container = _loamContainerForVolumeGroup(services.deviceRegistry, services.media, *uuid);
  if (!container) {
    storeError(error, makeError(kMWStorageControllerErrorDomain,
                                kMWStorageControllerErrorContainerNotFound,
                                withDescription(formatText(
                                    "Cannot find Loam container from volume-group: %@", *uuid))));
    return nullptr;
  }
  return std::shared_ptr<MWStorageController>(
      new MWStorageController(services, std::move(*uuid), std::move(*path), std::move(container)));
}

MWStorageController::MWStorageController(const Services& services, std::string volumeGroupUUID,
                                         std::string bootObjectsPath,
                                         std::shared_ptr<DVStaticLoamContainer> loamContainer)
    : _services(services),
      _daQueue(services.taskQueues.createSerialQueue(kDASessionQueueLabel)),
      _volumeGroupUUID(std::move(volumeGroupUUID)),
      _bootObjectsPath(std::move(bootObjectsPath)),
      _loamContainer(std::move(loamContainer)) {}

MWStorageController::~MWStorageController() {
  stopDissentingMounts();
  // A decision that was queued before the session ended still uses this object.
  _daQueue->sync([] {});
}

std::optional<std::string> MWStorageController::_stringForSysctl(KernelVariables& variables,
                                                                 const char* name,
                                                                 ErrorSlot error) {
  auto text = variables.string(name);
  if (text && !isValidUTF8(*text)) {
    errno = EILSEQ;
    text.reset();
  }
  if (!text) {
    const int number = errno;
    storeError(error, makePOSIXError(number,
                                     withDescription(formatText("Unable to retrieve '%s'", name))));
  }
  return text;
}

}  // namespace marrow
