// The boot policy: the nonce in force and the one that an update proposes.
#pragma once

#include "host/boot_policy.h"
#include "host/property_list.h"
#include "tests/host/calls.h"

#include <optional>
#include <string>
#include <string_view>

namespace marrow {

class InMemoryBootPolicy : public BootPolicy {
 public:
  explicit InMemoryBootPolicy(Calls& calls) : _calls(calls) {}

  // Of the proposed nonce; where there is none, of the one in force; ENOENT where there is neither.
  std::int32_t proposedNonceDigest(NonceDigest& digest) override;
  // No proposal but a nonce in force is 0; neither is ENOENT; another mode is EINVAL.
  std::int32_t updateLocalPolicyNonceEnd(const std::string& policyVolumePath,
                                         const std::string& manifestPath, const void* third,
                                         std::uint32_t mode) override;
  std::string statusText(std::int32_t status) override;
  std::string defaultPolicyVolumePath() override { return "/run/marrow/policy"; }
  std::string defaultSFRManifestPath() override { return "/usr/standalone/firmware/sfr.manifest"; }

  void setNonce(std::optional<std::string> nonce) { _nonce = std::move(nonce); }
  void setProposedNonce(std::optional<std::string> nonce) { _proposed = std::move(nonce); }
  const std::optional<std::string>& nonce() const { return _nonce; }
  const std::optional<std::string>& proposedNonce() const { return _proposed; }

  // The machine's digest of a nonce: different nonces have different digests, all 48 bytes count.
  static NonceDigest digestOf(std::string_view nonce);
  static PropertyListData digestData(std::string_view nonce);

 private:
  Calls& _calls;
  std::optional<std::string> _nonce;
  std::optional<std::string> _proposed;
};

}  // namespace marrow
