#include "base_system/upgrade_identity.h"

#include "host/error_record.h"

#include <algorithm>
#include <cerrno>
#include <string_view>

namespace marrow {

namespace {

constexpr char kUnknown[] = "-";

std::string hexadecimal(const NonceDigest& digest) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const std::byte byte : digest) {
    text += kDigits[std::to_integer<std::size_t>(byte >> 4)];
    text += kDigits[std::to_integer<std::size_t>(byte & std::byte{15})];
  }
  return text;
}

// The value of the command line may hold anything.
bool isOneWord(const std::string& text) {
  return !text.empty() &&
         std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c <= '~'; });
}

std::string groupOfBoot(KernelVariables& variables, LogHandle& log) {
  const auto group = variables.string("kern.bootuuid");
  if (!group) {
    log.log(LogLevel::error, "Cannot read kern.bootuuid: " + errorNumberText(errno));
  }
  return group && isOneWord(*group) ? *group : kUnknown;
}

std::string digestOfNonce(BootPolicy& policy, LogHandle& log) {
  NonceDigest digest{};
  const int status = policy.proposedNonceDigest(digest);
  if (status != 0) {
    log.log(LogLevel::error, "Cannot tell the nonce of this upgrade: " + policy.statusText(status));
  }
  return status == 0 ? hexadecimal(digest) : kUnknown;
}

}  // namespace

std::string upgradeIdentity(KernelVariables& variables, BootPolicy& policy, LogHandle& log) {
  return groupOfBoot(variables, log) + "/" + digestOfNonce(policy, log);
}

}  // namespace marrow
