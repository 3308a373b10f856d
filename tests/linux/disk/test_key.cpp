#include "tests/linux/disk/test_key.h"

#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <linux/keyctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace marrow {

TestKey::TestKey(const std::string& description, const std::string& payload)
    : _key(::syscall(SYS_add_key, "user", description.c_str(), payload.data(), payload.size(),
                     KEY_SPEC_PROCESS_KEYRING)) {
  EXPECT_GE(_key, 0) << std::strerror(errno);
}

void TestKey::remove() {
  if (_key >= 0) {
    EXPECT_EQ(::syscall(SYS_keyctl, KEYCTL_UNLINK, _key, KEY_SPEC_PROCESS_KEYRING), 0);
    _key = -1;
  }
}

void TestKey::revoke() const { EXPECT_EQ(::syscall(SYS_keyctl, KEYCTL_REVOKE, _key), 0); }

}  // namespace marrow
