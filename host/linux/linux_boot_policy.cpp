#include "host/linux/linux_boot_policy.h"

#include "host/error_record.h"
#include "host/linux/sha384.h"
#include "host/text_format.h"

#include <cerrno>
#include <utility>

namespace marrow {

namespace {

const EFIVariableName kNonce{"marrow-nonce"};
const EFIVariableName kProposedNonce{"marrow-nonce-proposed"};

}  // namespace

std::int32_t LinuxBootPolicy::proposedNonceDigest(NonceDigest& digest) {
  auto nonce = _store.read(kProposedNonce);
  if (!nonce && errno == ENOENT) {
    nonce = _store.read(kNonce);
  }
  if (!nonce) {
    return unreadable(errno);
  }
  digest = sha384(*nonce);
  return 0;
}

int LinuxBootPolicy::unreadable(int errorNumber) {
  if (errorNumber != ENOENT) {
    _log.log(
        LogLevel::error,
        formatText("Cannot read the nonce that the update proposes: %@. This boot counts as one "
                   "for another nonce.",
                   errorNumberText(errorNumber)));
  }
  return errorNumber;
}

std::int32_t LinuxBootPolicy::updateLocalPolicyNonceEnd(const std::string& /*policyVolumePath*/,
                                                        const std::string& /*manifestPath*/,
                                                        const void* /*third*/, std::uint32_t mode) {
  if (mode != BOOTPOLICY_NONCE_COMMIT_ONLY) {
    return EINVAL;
  }
  if (const auto proposal = _store.read(kProposedNonce)) {
    return commit(*proposal);
  }
  if (errno != ENOENT) {
    return errno;
  }
  return _store.read(kNonce) ? _store.sync() : errno;
}

// The proposal goes only when the nonce is durably in force, so that a cut at any point leaves one
// of them to take the commit up from.
int LinuxBootPolicy::commit(const std::string& proposal) {
  int status = _store.write(kNonce, proposal);
  status = status == 0 ? _store.sync() : status;
  status = status == 0 ? _store.remove(kProposedNonce) : status;
  return status == 0 ? _store.sync() : status;
}

std::string LinuxBootPolicy::statusText(std::int32_t status) { return errorNumberText(status); }

}  // namespace marrow
