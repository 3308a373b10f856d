#include "operations/bless_volume_operation.h"

#include "daemon/log_channels.h"
#include "operations/operation_storage.h"

#include <optional>

namespace marrow {

namespace {

bool hasAlternateTarget(MWStorageController& controller) {
  const auto cookie = controller.templateMigrationCookie();
  return cookie && cookie->find(kQMOptionsKeyAlternateBlessTargetUUID) != nullptr;
}

std::optional<std::string> systemDeviceNode(
    const std::shared_ptr<MWStorageController>& controller) {
  const auto volume = controller ? controller->systemVolume() : nullptr;
  return volume ? std::optional(volume->deviceNode()) : std::nullopt;
}

}  // namespace

bool MWBlessVolumeOperation::execute() {
  const auto controller = storageControllerOf(*this);
  if (controller && hasAlternateTarget(*controller)) {
    log(operationsLogChannel(), LogLevel::standard, LogEvent::blessSkipped,
        "Template Migration cookie contains %@, skipping bless",
        kQMOptionsKeyAlternateBlessTargetUUID);
    return true;
  }
  return bless(systemDeviceNode(controller));
}

// A missing system volume is left to the bless to refuse.
bool MWBlessVolumeOperation::bless(const std::optional<std::string>& deviceNode) {
  constexpr bool kOneTime = false;
  if (_utilities.blessDevice(deviceNode, kOneTime)) {
    return true;
  }
  log(operationsLogChannel(), LogLevel::standard, LogEvent::blessFailed, "Failed to bless %@",
      deviceNode);
  setError(makeError(kMWBlessVolumeOperationErrorDomain, kMWBlessVolumeOperationErrorBlessFailed));
  return false;
}

}  // namespace marrow
