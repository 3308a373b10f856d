#include "base_system/upgrade_identity.h"

#include "host/linux/linux_boot_policy.h"
#include "host/linux/linux_kernel_variables.h"
#include "tests/linux/firmware/recorded_log.h"
#include "tests/linux/firmware/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace marrow {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string kGroup = "6b29fc40-ca47-4067-b31d-00dd010662da";
const EFIVariableName kNonce{"marrow-nonce"};
const EFIVariableName kProposed{"marrow-nonce-proposed"};

class UpgradeIdentityTest : public testing::Test {
 protected:
  void SetUp() override {
    store.write(kNonce, "old");
    folder.write("cmdline", "quiet kern.bootuuid=" + kGroup + "\n");
  }
  std::string identity() { return upgradeIdentity(variables, policy, log); }

  TemporaryFolder folder;
  RecordedLog log;
  EFIVariableStore store{log, folder.makeFolder("efivars")};
  LinuxBootPolicy policy{store, log};
  LinuxKernelVariables variables{folder.path("cmdline")};
};

TEST_F(UpgradeIdentityTest, IsTheGroupAndTheDigestOfTheProposedNonce) {
  store.write(kProposed, "abc");
  // SHA-384 of "abc", FIPS 180-4's own example.
  EXPECT_EQ(identity(), kGroup +
                            "/cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed"
                            "8086072ba1e7cc2358baeca134c825a7");
  EXPECT_THAT(log.texts(), IsEmpty());
}

TEST_F(UpgradeIdentityTest, StaysTheSameWhenTheNonceIsCommitted) {
  store.write(kProposed, "new");
  const std::string before = identity();
  ASSERT_EQ(policy.updateLocalPolicyNonceEnd({}, {}, nullptr, BOOTPOLICY_NONCE_COMMIT_ONLY), 0);
  EXPECT_EQ(identity(), before);
}

TEST_F(UpgradeIdentityTest, DiffersWithTheNonceAndWithTheGroup) {
  const std::string first = identity();
  store.write(kProposed, "new");
  const std::string second = identity();
  folder.write("cmdline", "kern.bootuuid=00000000-0000-0000-0000-000000000000");
  EXPECT_NE(first, second);
  EXPECT_NE(second, identity());
}

TEST_F(UpgradeIdentityTest, WithoutANonceTheGroupAloneCounts) {
  store.remove(kNonce);
  EXPECT_EQ(identity(), kGroup + "/-");
  EXPECT_THAT(log.texts(), Contains(HasSubstr("nonce")));
}

TEST_F(UpgradeIdentityTest, IsOneWordWhateverTheCommandLineHolds) {
  for (const char* const line : {"", "kern.bootuuid=", "kern.bootuuid=\"a b\""}) {
    folder.write("cmdline", line);
    EXPECT_THAT(identity(), testing::StartsWith("-/")) << line;
  }
  folder.remove("cmdline");
  EXPECT_THAT(identity(), testing::StartsWith("-/"));
}

}  // namespace
}  // namespace marrow
