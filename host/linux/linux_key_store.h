// The store of disk-encryption keys: the LUKS2 header of the data volume, in which a token tells of
// the stashed key.
#pragma once

#include "host/key_store.h"
#include "host/linux/crypt_library.h"
#include "host/log.h"

#include <functional>
#include <optional>
#include <string>

namespace marrow {

class LinuxKeyStore final : public KeyStore {
 public:
  // Finds the node of the data volume; absent when the machine has none.
  using FindDataVolume = std::function<std::optional<std::string>()>;

  // The library is loaded when the data volume is found to be encrypted.
  LinuxKeyStore(LogHandle& log, FindDataVolume findDataVolume, const char* library = kCryptLibrary)
      : _log(log), _findDataVolume(std::move(findDataVolume)), _library(library) {}

  // Every staged token of the stash becomes a committed one; nothing else in the header changes,
  // and whoever looks in between, or after a cut, finds the header as it was or as it is to be. 0,
  // also where there is no data volume, no LUKS2 header or no such token. Otherwise an errno value,
  // which the log explains: that of the device, ELIBACC without the library, EINVAL when both
  // copies of the header are damaged, EBADMSG when a token of the stash is in neither state.
  std::int32_t cks_br_commit_stashed_kek() override;

 private:
  int commitIn(const std::string& node);
  int commitTokens(const CryptLibrary& library, const CryptDevice& device, const std::string& node);
  int commitToken(const CryptLibrary& library, const CryptDevice& device, const std::string& node,
                  int token);
  int fail(int errorNumber, const std::string& what);

  LogHandle& _log;
  FindDataVolume _findDataVolume;
  const char* _library;
};

}  // namespace marrow
