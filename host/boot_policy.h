// The boot-policy library: the nonce that the boot policy accepts, and the one that an update
// proposes. Any thread; one caller at a time.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace marrow {

// SHA-384 (FIPS 180-4).
inline constexpr std::size_t kNonceDigestLength = 48;
using NonceDigest = std::array<std::byte, kNonceDigestLength>;

inline constexpr std::uint32_t BOOTPOLICY_NONCE_COMMIT_ONLY = 2;

class BootPolicy {
 public:
  virtual ~BootPolicy() = default;

  // 0 and the digest of the proposed nonce, or another status.
  virtual std::int32_t proposedNonceDigest(NonceDigest& digest) = 0;

  // bootpolicy_update_local_policy_nonce_end: makes the proposed nonce the one in force. `third`
  // is always null. 0, durably, or another status. May be repeated.
  virtual std::int32_t updateLocalPolicyNonceEnd(const std::string& policyVolumePath,
                                                 const std::string& manifestPath, const void* third,
                                                 std::uint32_t mode) = 0;

  virtual std::string statusText(std::int32_t status) = 0;

  // What the library itself publishes for the two paths.
  virtual std::string defaultPolicyVolumePath() = 0;
  virtual std::string defaultSFRManifestPath() = 0;
};

}  // namespace marrow
