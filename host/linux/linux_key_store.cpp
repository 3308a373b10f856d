#include "host/linux/linux_key_store.h"

namespace marrow {

std::int32_t LinuxKeyStore::cks_br_commit_stashed_kek() {
  _missing.report("This machine has no key store. No stashed key is committed.");
  return 0;
}

}  // namespace marrow
