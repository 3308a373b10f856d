#include "operations/commit_boot_policy_operation.h"

#include "daemon/log_channels.h"
#include "operations/commit_boot_objects_operation.h"

#include <algorithm>
#include <optional>

namespace marrow {

namespace {

std::optional<PropertyListValue> bootedNonceDigest(DeviceRegistry& registry) {
  const RegistryEntry entry(registry, registry.entryFromPath("IODeviceTree:/chosen/asmb"));
  return entry ? registry.property(entry.handle(), "lp-lpnh") : std::nullopt;
}

}  // namespace

bool MWCommitBootPolicyOperation::bootedFromProposedNonce(DeviceRegistry& registry,
                                                          BootPolicy& bootPolicy) {
  const auto property = bootedNonceDigest(registry);
  const auto* booted = property ? property->as<PropertyListData>() : nullptr;
  if (booted == nullptr) {
    return false;
  }
  NonceDigest proposed = {};
  return bootPolicy.proposedNonceDigest(proposed) == 0 && std::ranges::equal(*booted, proposed);
}

bool MWCommitBootPolicyOperation::execute() { return preflight() && commitNonce(); }

bool MWCommitBootPolicyOperation::preflight() {
  const auto bootObjects = bootObjectsOperation();
  if (!bootObjects || bootObjects->preflight()) {
    return true;
  }
  setError(bootObjects->error());
  return false;
}

bool MWCommitBootPolicyOperation::commitNonce() {
  const std::int32_t status = _bootPolicy.updateLocalPolicyNonceEnd(
      _bootPolicy.defaultPolicyVolumePath(), _bootPolicy.defaultSFRManifestPath(), nullptr,
      BOOTPOLICY_NONCE_COMMIT_ONLY);
  if (status == 0) {
    return true;
  }
  const std::string text = formatText(
      "bootpolicy_update_local_policy_nonce_end(BOOTPOLICY_NONCE_COMMIT_ONLY) failed (%d). %s",
      status, _bootPolicy.statusText(status));
  log(operationsLogChannel(), LogLevel::error, LogEvent::bootPolicyNotCommitted, "%@", text);
  setError(makeError(kMWCommitBootPolicyOperationErrorDomain,
                     kMWCommitBootPolicyOperationErrorCommitFailed,
                     {{kLocalizedDescriptionKey, text}}));
  return false;
}

}  // namespace marrow
