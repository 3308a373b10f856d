// Commits the boot-policy nonce that the update proposed, so that the new system becomes the one
// that the boot policy accepts.
#pragma once

#include "engine/operation.h"
#include "host/boot_policy.h"
#include "host/device_registry.h"
#include "operations/synchronized_field.h"

#include <cstdint>
#include <memory>
#include <string>

namespace marrow {

class MWCommitBootObjectsOperation;

inline constexpr char kMWCommitBootPolicyOperationErrorDomain[] =
    "MWCommitBootPolicyOperationErrorDomain";

// The code of that domain; its record has a localized description.
inline constexpr std::int64_t kMWCommitBootPolicyOperationErrorCommitFailed = 1;

class MWCommitBootPolicyOperation : public MWOperation {
 public:
  // `bootPolicy` outlives the operation.
  explicit MWCommitBootPolicyOperation(BootPolicy& bootPolicy) : _bootPolicy(bootPolicy) {}

  // True when this boot is the one that the update proposed: the digest that the device tree names
  // for it is, byte for byte, that of the proposed nonce. False also where either is unknown. Only
  // then may the nonce be committed.
  static bool bootedFromProposedNonce(DeviceRegistry& registry, BootPolicy& bootPolicy);

  std::string className() const override { return "MWCommitBootPolicyOperation"; }
  bool execute() override;
  double estimatedExecutionTime() const override { return 10.0; }

  // The operation that installs the boot objects after this one, or null. The nonce is committed
  // only when that one finds the volumes that it needs. Any thread.
  std::shared_ptr<MWCommitBootObjectsOperation> bootObjectsOperation() const {
    return _bootObjectsOperation.load();
  }
  void setBootObjectsOperation(std::shared_ptr<MWCommitBootObjectsOperation> operation) {
    _bootObjectsOperation.store(std::move(operation));
  }

 private:
  bool preflight();
  bool commitNonce();

  BootPolicy& _bootPolicy;
  SynchronizedField<std::shared_ptr<MWCommitBootObjectsOperation>> _bootObjectsOperation;
};

}  // namespace marrow
