// The stashed key and the end of the session.
#include "tests/contract/firmware/firmware_machine.h"

#include <cerrno>

namespace marrow {
namespace {

class KeyStoreContract : public FirmwareContract {};
class RebootContract : public FirmwareContract {};

TEST_P(KeyStoreContract, AStashedKeyIsCommittedAndTheCommitMayBeRepeated) {
  machine->stageKey();
  EXPECT_FALSE(machine->keyIsCommitted());
  EXPECT_EQ(machine->keyStore().cks_br_commit_stashed_kek(), 0);
  EXPECT_TRUE(machine->keyIsCommitted());
  EXPECT_EQ(machine->keyStore().cks_br_commit_stashed_kek(), 0);
  EXPECT_TRUE(machine->keyIsCommitted());
}

TEST_P(KeyStoreContract, WhereNothingIsStashedTheCommitSucceeds) {
  EXPECT_EQ(machine->keyStore().cks_br_commit_stashed_kek(), 0);
  EXPECT_FALSE(machine->keyIsCommitted());
}

TEST_P(RebootContract, AFullRebootIsAccepted) {
  EXPECT_EQ(machine->reboot().reboot(kRebootFull), 0);
  EXPECT_TRUE(machine->wasRebooted());
}

TEST_P(RebootContract, AnyOtherFlagWordIsRefused) {
  for (const std::uint64_t flags :
       {std::uint64_t{0}, std::uint64_t{1}, kRebootFull | 1U, kRebootFull >> 1U}) {
    EXPECT_EQ(machine->reboot().reboot(flags), EINVAL) << flags;
  }
  EXPECT_FALSE(machine->wasRebooted());
}

TEST_P(RebootContract, ACrashTellsItsMessage) {
  EXPECT_EQ(machine->crash(kRebootPanic | kRebootQuick, "simulated panic"), "simulated panic");
  EXPECT_FALSE(machine->wasRebooted());
}

TEST_P(RebootContract, WithoutThePanicFlagNothingIsCrashed) {
  EXPECT_EQ(machine->crash(kRebootQuick, "no panic"), std::nullopt);
  EXPECT_FALSE(machine->wasRebooted());
}

INSTANTIATE_TEST_SUITE_P(Machines, KeyStoreContract, kFirmwareMachines, firmwareMachineName);
INSTANTIATE_TEST_SUITE_P(Machines, RebootContract, kFirmwareMachines, firmwareMachineName);

}  // namespace
}  // namespace marrow
