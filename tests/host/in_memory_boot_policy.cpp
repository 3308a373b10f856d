#include "tests/host/in_memory_boot_policy.h"

#include "host/error_record.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace marrow {

namespace {

// FNV-1a with 64 bits, begun anew for each byte of the digest: enough for a machine
// whose nonces are only compared.
std::byte digestByte(std::string_view nonce, std::size_t index) {
  constexpr std::uint64_t kOffsetBasis = 0xcbf29ce484222325;
  constexpr std::uint64_t kPrime = 0x100000001b3;
  std::uint64_t hash = (kOffsetBasis ^ index) * kPrime;
  for (const char byte : nonce) {
    hash = (hash ^ static_cast<unsigned char>(byte)) * kPrime;
  }
  constexpr unsigned kHighBits = 56;
  return static_cast<std::byte>((hash >> kHighBits) ^ (hash & 0xFF));
}

}  // namespace

std::int32_t InMemoryBootPolicy::proposedNonceDigest(NonceDigest& digest) {
  if (const auto failure = _calls.made("BootPolicy.proposedNonceDigest")) {
    return failure->status();
  }
  const auto& nonce = _proposed ? _proposed : _nonce;
  if (!nonce) {
    return ENOENT;
  }
  digest = digestOf(*nonce);
  return 0;
}

std::int32_t InMemoryBootPolicy::updateLocalPolicyNonceEnd(const std::string& policyVolumePath,
                                                           const std::string& manifestPath,
                                                           const void* third, std::uint32_t mode) {
  const std::string arguments = policyVolumePath + " " + manifestPath + " " +
                                (third == nullptr ? "null" : "something") + " " +
                                std::to_string(mode);
  if (const auto failure = _calls.made("BootPolicy.updateLocalPolicyNonceEnd", arguments)) {
    return failure->status();
  }
  if (mode != BOOTPOLICY_NONCE_COMMIT_ONLY) {
    return EINVAL;
  }
  if (!_proposed) {
    return _nonce ? 0 : ENOENT;
  }
  _nonce = std::exchange(_proposed, std::nullopt);
  return 0;
}

std::string InMemoryBootPolicy::statusText(std::int32_t status) {
  _calls.note("BootPolicy.statusText", std::to_string(status));
  return errorNumberText(status);
}

NonceDigest InMemoryBootPolicy::digestOf(std::string_view nonce) {
  NonceDigest digest{};
  for (std::size_t index = 0; index < digest.size(); ++index) {
    digest.at(index) = digestByte(nonce, index);
  }
  return digest;
}

PropertyListData InMemoryBootPolicy::digestData(std::string_view nonce) {
  const NonceDigest digest = digestOf(nonce);
  return {digest.begin(), digest.end()};
}

}  // namespace marrow
