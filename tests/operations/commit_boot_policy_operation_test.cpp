#include "operations/commit_boot_policy_operation.h"

#include "operations/commit_boot_objects_operation.h"
#include "tests/operations/operation_test.h"

#include <gmock/gmock.h>

namespace marrow {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class MWCommitBootPolicyOperationTest : public OperationTest {
 protected:
  MWCommitBootPolicyOperationTest()
      : operation(create<MWCommitBootPolicyOperation>(machine.bootPolicy)) {}

  bool bootedFromProposedNonce() {
    return MWCommitBootPolicyOperation::bootedFromProposedNonce(machine.registry,
                                                                machine.bootPolicy);
  }

  void setBootedDigest(PropertyListValue value) {
    machine.registry.setProperty(machine.registry.atPath(kBootNonceEntry), "lp-lpnh",
                                 std::move(value));
  }

  const std::shared_ptr<MWCommitBootPolicyOperation> operation;
};

class WithBootObjects : public MWCommitBootPolicyOperationTest {
 protected:
  WithBootObjects()
      : bootObjects(create<MWCommitBootObjectsOperation>(machine.files, machine.trees)) {
    operation->setBootObjectsOperation(bootObjects);
  }

  const std::shared_ptr<MWCommitBootObjectsOperation> bootObjects;
};

// A preflight that fails without saying why.
class SilentBootObjects : public MWCommitBootObjectsOperation {
 public:
  using MWCommitBootObjectsOperation::MWCommitBootObjectsOperation;
  bool preflight() override { return false; }
};

TEST_F(MWCommitBootPolicyOperationTest, GivesItsClassName) {
  EXPECT_EQ(operation->className(), "MWCommitBootPolicyOperation");
}

TEST_F(MWCommitBootPolicyOperationTest, ExpectsToTakeTenSeconds) {
  EXPECT_EQ(operation->estimatedExecutionTime(), 10.0);
}

TEST_F(MWCommitBootPolicyOperationTest, AMachineThatBootedFromTheProposedNonceIsRecognised) {
  EXPECT_TRUE(bootedFromProposedNonce());
}

TEST_F(MWCommitBootPolicyOperationTest, TheBootedDigestIsReleasedBeforeTheProposedOneIsAskedFor) {
  bootedFromProposedNonce();
  EXPECT_TRUE(machine.journal.inOrder("DeviceRegistry.entryFromPath IODeviceTree:/chosen/asmb",
                                      "DeviceRegistry.property"));
  EXPECT_TRUE(machine.journal.inOrder("DeviceRegistry.property", "DeviceRegistry.release"));
  EXPECT_TRUE(machine.journal.inOrder("DeviceRegistry.release", "BootPolicy.proposedNonceDigest"));
  EXPECT_EQ(machine.registry.references(), 0);
}

TEST_F(MWCommitBootPolicyOperationTest, AMissingDeviceTreeEntryIsNoProposedBoot) {
  machine.registry.remove(machine.registry.atPath(kBootNonceEntry));
  EXPECT_FALSE(bootedFromProposedNonce());
  EXPECT_FALSE(machine.journal.contains("BootPolicy."));
}

TEST_F(MWCommitBootPolicyOperationTest, AMissingPropertyIsNoProposedBoot) {
  machine.registry.removeProperty(machine.registry.atPath(kBootNonceEntry), "lp-lpnh");
  EXPECT_FALSE(bootedFromProposedNonce());
  EXPECT_FALSE(machine.journal.contains("BootPolicy."));
  EXPECT_EQ(machine.registry.references(), 0);
}

TEST_F(MWCommitBootPolicyOperationTest, APropertyThatIsNoDataIsNoProposedBoot) {
  std::string text;
  for (const std::byte byte : InMemoryBootPolicy::digestOf(kProposedNonce)) {
    text += static_cast<char>(byte);
  }
  setBootedDigest(text);
  EXPECT_FALSE(bootedFromProposedNonce());
}

TEST_F(MWCommitBootPolicyOperationTest, AFailedDigestQueryIsNoProposedBoot) {
  machine.faults.fail("BootPolicy.proposedNonceDigest", ENOENT);
  EXPECT_FALSE(bootedFromProposedNonce());
}

TEST_F(MWCommitBootPolicyOperationTest, AFailedDigestQueryDoesNotMatchAPropertyOfZeros) {
  setBootedDigest(PropertyListData(kNonceDigestLength));
  machine.faults.fail("BootPolicy.proposedNonceDigest", ENOENT);
  EXPECT_FALSE(bootedFromProposedNonce());
}

TEST_F(MWCommitBootPolicyOperationTest, ThirtyTwoEqualBytesAreNoMatch) {
  auto digest = InMemoryBootPolicy::digestData(kProposedNonce);
  digest.resize(32);
  setBootedDigest(digest);
  EXPECT_FALSE(bootedFromProposedNonce());
}

TEST_F(MWCommitBootPolicyOperationTest, OneByteMoreIsNoMatch) {
  auto digest = InMemoryBootPolicy::digestData(kProposedNonce);
  digest.push_back(std::byte{0});
  setBootedDigest(digest);
  EXPECT_FALSE(bootedFromProposedNonce());
}

TEST_F(MWCommitBootPolicyOperationTest, ALastByteThatDiffersIsNoMatch) {
  auto digest = InMemoryBootPolicy::digestData(kProposedNonce);
  digest.back() ^= std::byte{1};
  setBootedDigest(digest);
  EXPECT_FALSE(bootedFromProposedNonce());
}

TEST_F(MWCommitBootPolicyOperationTest, AnEmptyPropertyIsNoMatch) {
  setBootedDigest(PropertyListData());
  EXPECT_FALSE(bootedFromProposedNonce());
}

TEST_F(MWCommitBootPolicyOperationTest, CommitsTheProposedNonce) {
  operation->start();
  EXPECT_TRUE(operation->success());
  EXPECT_FALSE(operation->error());
  EXPECT_EQ(machine.bootPolicy.nonce(), kProposedNonce);
  EXPECT_FALSE(machine.bootPolicy.proposedNonce());
  EXPECT_THAT(machine.log.texts(), IsEmpty());
}

TEST_F(MWCommitBootPolicyOperationTest, CommitsWithTheLibrarysPathsAndNothingButTheNonce) {
  operation->start();
  EXPECT_THAT(machine.journal.calls("BootPolicy.updateLocalPolicyNonceEnd"),
              ElementsAre("BootPolicy.updateLocalPolicyNonceEnd /run/marrow/policy "
                          "/usr/standalone/firmware/sfr.manifest null 2"));
}

TEST_F(MWCommitBootPolicyOperationTest, WithoutABootObjectsOperationItCommitsWithoutAPreflight) {
  machine.partitions.removeVolume(kPrebootVolume);
  operation->start();
  EXPECT_TRUE(operation->success());
  EXPECT_EQ(machine.bootPolicy.nonce(), kProposedNonce);
  EXPECT_FALSE(machine.journal.contains("DVStaticLoam"));
}

TEST_F(MWCommitBootPolicyOperationTest, AFailedCommitNamesTheStatusAndTheLibrarysText) {
  machine.faults.fail("BootPolicy.updateLocalPolicyNonceEnd", 71);
  operation->start();
  const std::string text =
      "bootpolicy_update_local_policy_nonce_end(BOOTPOLICY_NONCE_COMMIT_ONLY) failed (71). " +
      machine.bootPolicy.statusText(71);
  EXPECT_FALSE(operation->success());
  EXPECT_TRUE(hasLogged(LogLevel::error, text));
  expectError(operation->error(), "MWCommitBootPolicyOperationErrorDomain", 1);
  EXPECT_EQ(operation->error()->localizedDescription(), text);
  EXPECT_EQ(operation->error()->userInfo().size(), 1U);
}

TEST_F(MWCommitBootPolicyOperationTest, ANegativeStatusIsNamedWithItsSign) {
  machine.faults.fail("BootPolicy.updateLocalPolicyNonceEnd", -3);
  operation->start();
  EXPECT_THAT(operation->error()->localizedDescription().value_or(""), HasSubstr(" failed (-3). "));
}

TEST_F(MWCommitBootPolicyOperationTest, AFailedCommitIsNotTriedAgain) {
  machine.faults.fail("BootPolicy.updateLocalPolicyNonceEnd", 71).once();
  operation->start();
  EXPECT_FALSE(operation->success());
  EXPECT_EQ(machine.journal.count("BootPolicy.updateLocalPolicyNonceEnd"), 1U);
  EXPECT_EQ(machine.bootPolicy.nonce(), kNonceInForce);
}

TEST_F(MWCommitBootPolicyOperationTest, WhenRunAgainAfterACommitItSucceeds) {
  operation->start();
  operation->start();
  EXPECT_TRUE(operation->success());
  EXPECT_EQ(machine.bootPolicy.nonce(), kProposedNonce);
}

TEST_F(WithBootObjects, KeepsTheBootObjectsOperation) {
  EXPECT_EQ(operation->bootObjectsOperation(), bootObjects);
  operation->setBootObjectsOperation(nullptr);
  EXPECT_EQ(operation->bootObjectsOperation(), nullptr);
}

TEST_F(WithBootObjects, RunsThePreflightBeforeItCommits) {
  operation->start();
  EXPECT_TRUE(operation->success());
  EXPECT_TRUE(machine.journal.inOrder("DVStaticLoamVolume.mountAtTemporaryPath /dev/disk0s6",
                                      "BootPolicy.updateLocalPolicyNonceEnd"));
}

TEST_F(WithBootObjects, InstallsNothing) {
  operation->start();
  EXPECT_FALSE(machine.journal.contains("FileTrees."));
}

TEST_F(WithBootObjects, AFailedPreflightIsItsErrorAndLeavesTheNonceAlone) {
  machine.partitions.removeVolume(kRecoveryVolume);
  operation->start();
  EXPECT_FALSE(operation->success());
  EXPECT_EQ(operation->error(), bootObjects->error());
  expectError(operation->error(), "MWCommitBootObjectsOperationErrorDomain", 2);
  EXPECT_FALSE(machine.journal.contains("BootPolicy."));
  EXPECT_EQ(machine.bootPolicy.nonce(), kNonceInForce);
}

TEST_F(WithBootObjects, AFailedPreflightWithoutAnErrorGetsTheGeneralOne) {
  operation->setBootObjectsOperation(create<SilentBootObjects>(machine.files, machine.trees));
  operation->start();
  EXPECT_FALSE(operation->success());
  expectError(operation->error(), "MWOperationErrorDomain", -1);
  EXPECT_FALSE(machine.journal.contains("BootPolicy."));
}

}  // namespace
}  // namespace marrow
