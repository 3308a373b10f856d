// The boot policy's nonces in the firmware's variables. Statuses are errno values.
#pragma once

#include "host/boot_policy.h"
#include "host/linux/efi_variable_store.h"

#include <string>

namespace marrow {

class LinuxBootPolicy final : public BootPolicy {
 public:
  LinuxBootPolicy(EFIVariableStore& store, LogHandle& log) : _store(store), _log(log) {}

  // The digest of the proposed nonce; where that is gone, of the nonce in force, so that a run that
  // was cut after the commit is taken up again. ENOENT when there is neither; the log tells of any
  // other status.
  std::int32_t proposedNonceDigest(NonceDigest& digest) override;

  // The paths are not used: both nonces are firmware variables. EINVAL for any mode but
  // BOOTPOLICY_NONCE_COMMIT_ONLY; ENOENT when there is neither a proposal nor a nonce in force.
  std::int32_t updateLocalPolicyNonceEnd(const std::string& policyVolumePath,
                                         const std::string& manifestPath, const void* third,
                                         std::uint32_t mode) override;

  std::string statusText(std::int32_t status) override;
  std::string defaultPolicyVolumePath() override { return "/run/marrow/policy"; }
  std::string defaultSFRManifestPath() override { return "/usr/standalone/firmware/sfr.manifest"; }

 private:
  int commit(const std::string& proposal);
  int unreadable(int errorNumber);

  EFIVariableStore& _store;
  LogHandle& _log;
};

}  // namespace marrow
