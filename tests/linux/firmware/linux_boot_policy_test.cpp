#include "host/linux/linux_boot_policy.h"

#include "tests/linux/firmware/mounted_image.h"
#include "tests/linux/firmware/recorded_log.h"
#include "tests/linux/firmware/temporary_folder.h"

#include <cerrno>
#include <gtest/gtest.h>

namespace marrow {
namespace {

const EFIVariableName kNonce{"marrow-nonce"};
const EFIVariableName kProposed{"marrow-nonce-proposed"};

std::string hex(const NonceDigest& digest) {
  std::string text;
  for (const std::byte byte : digest) {
    constexpr char digits[] = "0123456789abcdef";
    text += digits[std::to_integer<unsigned>(byte) >> 4U];
    text += digits[std::to_integer<unsigned>(byte) & 15U];
  }
  return text;
}

class LinuxBootPolicyTest : public testing::Test {
 protected:
  std::int32_t commit() {
    return policy.updateLocalPolicyNonceEnd(policy.defaultPolicyVolumePath(),
                                            policy.defaultSFRManifestPath(), nullptr,
                                            BOOTPOLICY_NONCE_COMMIT_ONLY);
  }

  TemporaryFolder folder;
  RecordedLog log;
  EFIVariableStore store{log, folder.path()};
  LinuxBootPolicy policy{store, log};
};

// The example "abc" of FIPS 180-4.
TEST_F(LinuxBootPolicyTest, TheDigestIsSHA384OfTheProposedBytes) {
  store.write(kProposed, "abc");
  store.write(kNonce, "other");
  NonceDigest digest{};
  EXPECT_EQ(policy.proposedNonceDigest(digest), 0);
  EXPECT_EQ(hex(digest),
            "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded163"
            "1a8b605a43ff5bed8086072ba1e7cc2358baeca134c825a7");
}

TEST_F(LinuxBootPolicyTest, ZeroBytesOfANonceCount) {
  store.write(kProposed, std::string("abc\0", 4));
  NonceDigest digest{};
  EXPECT_EQ(policy.proposedNonceDigest(digest), 0);
  EXPECT_NE(hex(digest).substr(0, 8), "cb00753f");
}

TEST_F(LinuxBootPolicyTest, AProposalThatCannotBeReadIsNotPassedOver) {
  folder.makeFolder(std::string("marrow-nonce-proposed-") + kMarrowVendor);
  store.write(kNonce, "in force");
  NonceDigest digest{};
  EXPECT_EQ(policy.proposedNonceDigest(digest), EISDIR);
  EXPECT_THAT(
      log.texts(),
      testing::Contains(testing::HasSubstr("the nonce that the update proposes: Is a directory")));
  EXPECT_EQ(commit(), EISDIR);
  EXPECT_EQ(store.read(kNonce), "in force");
}

TEST_F(LinuxBootPolicyTest, ACutBetweenTheTwoStepsOfACommitIsTakenUpAgain) {
  store.write(kNonce, "proposed");
  store.write(kProposed, "proposed");
  EXPECT_EQ(commit(), 0);
  EXPECT_EQ(store.read(kNonce), "proposed");
  EXPECT_EQ(store.read(kProposed), std::nullopt);
}

TEST_F(LinuxBootPolicyTest, AProposalWithoutAValueIsGone) {
  folder.write(std::string("marrow-nonce-proposed-") + kMarrowVendor, std::string("\7\0\0\0", 4));
  store.write(kNonce, "in force");
  EXPECT_EQ(commit(), 0);
  EXPECT_EQ(store.read(kNonce), "in force");
}

TEST_F(LinuxBootPolicyTest, AStoreThatTakesNothingKeepsBothNonces) {
  const MountedMemory memory("size=64k");
  EFIVariableStore readOnly(log, memory.path());
  LinuxBootPolicy refused(readOnly, log);
  readOnly.write(kNonce, "in force");
  readOnly.write(kProposed, "proposed");
  memory.makeReadOnly();
  EXPECT_EQ(refused.updateLocalPolicyNonceEnd("", "", nullptr, BOOTPOLICY_NONCE_COMMIT_ONLY),
            EROFS);
  EXPECT_EQ(readOnly.read(kNonce), "in force");
  EXPECT_EQ(readOnly.read(kProposed), "proposed");
}

}  // namespace
}  // namespace marrow
