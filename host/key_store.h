// The store of disk-encryption keys. Any thread.
#pragma once

#include <cstdint>

namespace marrow {

class KeyStore {
 public:
  virtual ~KeyStore() = default;

  // Commits the stashed key-encryption key, so that the new system can unlock the data volume. 0,
  // also when nothing is stashed, or another status. May be repeated.
  virtual std::int32_t cks_br_commit_stashed_kek() = 0;
};

}  // namespace marrow
