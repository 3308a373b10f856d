#include "tests/contract/firmware/firmware_machine.h"

#include <cerrno>

namespace marrow {
namespace {

class BootPolicyContract : public FirmwareContract {
 protected:
  std::int32_t commit(std::uint32_t mode = BOOTPOLICY_NONCE_COMMIT_ONLY) {
    BootPolicy& policy = machine->bootPolicy();
    return policy.updateLocalPolicyNonceEnd(policy.defaultPolicyVolumePath(),
                                            policy.defaultSFRManifestPath(), nullptr, mode);
  }
  NonceDigest digest() {
    NonceDigest digest{};
    EXPECT_EQ(machine->bootPolicy().proposedNonceDigest(digest), 0);
    EXPECT_NE(digest, NonceDigest{});
    return digest;
  }
};

TEST_P(BootPolicyContract, EachProposalHasADigestOfItsOwn) {
  machine->setNonces("in force", "one");
  const NonceDigest one = digest();
  EXPECT_EQ(digest(), one);
  machine->setNonces("in force", "two");
  EXPECT_NE(digest(), one);
}

TEST_P(BootPolicyContract, WithoutAProposalTheDigestIsThatOfTheNonceInForce) {
  machine->setNonces("old", "nonce");
  const NonceDigest proposed = digest();
  machine->setNonces("nonce", std::nullopt);
  EXPECT_EQ(digest(), proposed);
}

TEST_P(BootPolicyContract, WithoutAnyNonceThereIsNoDigest) {
  NonceDigest digest{};
  EXPECT_EQ(machine->bootPolicy().proposedNonceDigest(digest), ENOENT);
  EXPECT_EQ(digest, NonceDigest{});
}

TEST_P(BootPolicyContract, ACommitPutsTheProposalIntoForce) {
  machine->setNonces("old", "new");
  EXPECT_EQ(commit(), 0);
  EXPECT_EQ(machine->nonce(), "new");
  EXPECT_EQ(machine->proposedNonce(), std::nullopt);
}

TEST_P(BootPolicyContract, ACommitNeedsNoFormerNonce) {
  machine->setNonces(std::nullopt, "new");
  EXPECT_EQ(commit(), 0);
  EXPECT_EQ(machine->nonce(), "new");
}

TEST_P(BootPolicyContract, ACommittedNonceKeepsItsDigestAndCommitsAgain) {
  machine->setNonces("old", "new");
  const NonceDigest proposed = digest();
  EXPECT_EQ(commit(), 0);
  EXPECT_EQ(digest(), proposed);
  EXPECT_EQ(commit(), 0);
  EXPECT_EQ(machine->nonce(), "new");
}

TEST_P(BootPolicyContract, WithoutAnyNonceThereIsNothingToCommit) { EXPECT_EQ(commit(), ENOENT); }

TEST_P(BootPolicyContract, AnyOtherModeIsRefusedAndNothingHappens) {
  machine->setNonces("old", "new");
  for (const std::uint32_t mode : {0U, 1U, 3U, ~0U}) {
    EXPECT_EQ(commit(mode), EINVAL) << mode;
  }
  EXPECT_EQ(machine->nonce(), "old");
  EXPECT_EQ(machine->proposedNonce(), "new");
}

TEST_P(BootPolicyContract, ARefusedCommitLeavesBothNonces) {
  machine->setNonces("old", "new");
  machine->refuseVariables();
  EXPECT_EQ(commit(), EROFS);
  EXPECT_EQ(machine->nonce(), "old");
  EXPECT_EQ(machine->proposedNonce(), "new");
}

TEST_P(BootPolicyContract, EveryStatusHasAText) {
  EXPECT_EQ(machine->bootPolicy().statusText(ENOENT), "No such file or directory");
  EXPECT_NE(machine->bootPolicy().statusText(-12345), "");
}

TEST_P(BootPolicyContract, TheTwoPathsAreTheMachines) {
  EXPECT_EQ(machine->bootPolicy().defaultPolicyVolumePath(), "/run/marrow/policy");
  EXPECT_EQ(machine->bootPolicy().defaultSFRManifestPath(),
            "/usr/standalone/firmware/sfr.manifest");
}

INSTANTIATE_TEST_SUITE_P(Machines, BootPolicyContract, kFirmwareMachines, firmwareMachineName);

}  // namespace
}  // namespace marrow
