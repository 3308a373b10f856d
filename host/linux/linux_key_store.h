// The store of disk-encryption keys of a machine whose data volume is not encrypted.
#pragma once

#include "host/key_store.h"
#include "host/linux/missing_service.h"
#include "host/log.h"

namespace marrow {

class LinuxKeyStore final : public KeyStore {
 public:
  explicit LinuxKeyStore(LogHandle& log) : _missing(log) {}

  // 0: nothing is stashed where there is no key store. Says so once in the log.
  std::int32_t cks_br_commit_stashed_kek() override;

 private:
  MissingService _missing;
};

}  // namespace marrow
