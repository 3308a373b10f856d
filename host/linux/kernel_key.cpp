#include "host/linux/kernel_key.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <linux/keyctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace marrow {

namespace {

// The most that a key of type "user" can hold (keyrings(7)).
constexpr std::size_t kLongestPayload = 32767;

void wipe(std::string& secret) { ::explicit_bzero(secret.data(), secret.size()); }

}  // namespace

KernelKey::KernelKey(const std::string& description) : _errorNumber(read(description)) {}

KernelKey::~KernelKey() { std::for_each(_passphrases.begin(), _passphrases.end(), wipe); }

int KernelKey::read(const std::string& description) {
  const long key = ::syscall(SYS_request_key, "user", description.c_str(), nullptr, 0);
  if (key < 0) {
    return errno;
  }
  std::string payload(kLongestPayload, '\0');
  const long size = ::syscall(SYS_keyctl, KEYCTL_READ, key, payload.data(), payload.size());
  if (size < 0) {
    return errno;
  }
  payload.resize(static_cast<std::size_t>(size));
  split(payload);
  wipe(payload);
  return _passphrases.empty() ? ENOKEY : 0;
}

void KernelKey::split(const std::string& payload) {
  for (std::size_t at = 0; at < payload.size();) {
    const std::size_t end = std::min(payload.find('\0', at), payload.size());
    if (end > at) {
      _passphrases.push_back(payload.substr(at, end - at));
    }
    at = end + 1;
  }
}

}  // namespace marrow
