#include "host/linux/linux_key_store.h"

#include "host/error_record.h"
#include "host/linux/luks_probe.h"
#include "host/linux/stash_token.h"

#include <cerrno>

namespace marrow {

namespace {

bool isStashToken(const CryptLibrary& library, const CryptDevice& device, int token) {
  const char* type = nullptr;
  const auto status = library.tokenStatus(device.get(), token, &type);
  return status != CRYPT_TOKEN_INVALID && status != CRYPT_TOKEN_INACTIVE && type != nullptr &&
         std::string(type) == kStashTokenType;
}

}  // namespace

std::int32_t LinuxKeyStore::cks_br_commit_stashed_kek() {
  const auto node = _findDataVolume();
  if (!node) {
    return 0;
  }
  bool encrypted = false;
  if (const int errorNumber = probeLUKS2(*node, encrypted); errorNumber != 0) {
    return fail(errorNumber, "Cannot look for a stashed key on " + *node);
  }
  return encrypted ? commitIn(*node) : 0;
}

int LinuxKeyStore::commitIn(const std::string& node) {
  CryptLibrary library{};
  if (!library.load(_library)) {
    return fail(ELIBACC, std::string("Cannot load ") + _library + ", which " + node + " needs");
  }
  CryptDevice device(library);
  if (const int errorNumber = device.load(node); errorNumber != 0) {
    return fail(errorNumber, "Cannot read the LUKS2 header of " + node + device.complaints());
  }
  return commitTokens(library, device, node);
}

int LinuxKeyStore::commitTokens(const CryptLibrary& library, const CryptDevice& device,
                                const std::string& node) {
  int firstFailure = 0;
  for (int token = 0; token < library.tokenMax(CRYPT_LUKS2); ++token) {
    if (isStashToken(library, device, token)) {
      const int errorNumber = commitToken(library, device, node, token);
      firstFailure = firstFailure != 0 ? firstFailure : errorNumber;
    }
  }
  return firstFailure;
}

int LinuxKeyStore::commitToken(const CryptLibrary& library, const CryptDevice& device,
                               const std::string& node, int token) {
  const std::string which = "token " + std::to_string(token) + " of " + node;
  const char* text = nullptr;
  if (const int result = library.tokenGet(device.get(), token, &text); result < 0) {
    return fail(-result, "Cannot read " + which + device.complaints());
  }
  std::string json(text);
  const auto state = commitStashToken(json);
  if (state == StashState::invalid) {
    return fail(EBADMSG, "The stashed key is neither staged nor committed, " + which);
  }
  const int result =
      state == StashState::staged ? library.tokenSet(device.get(), token, json.c_str()) : 0;
  return result < 0 ? fail(-result, "Cannot commit " + which + device.complaints()) : 0;
}

int LinuxKeyStore::fail(int errorNumber, const std::string& what) {
  _log.log(LogLevel::error, what + ". " + errorNumberText(errorNumber));
  return errorNumber;
}

}  // namespace marrow
