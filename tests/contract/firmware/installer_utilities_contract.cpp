#include "tests/contract/firmware/firmware_machine.h"
#include "tests/host/default_machine.h"

namespace marrow {
namespace {

const std::string kSystemNode = "/dev/" + kSystemVolume;
const std::string kOtherSystemNode = "/dev/" + kOtherSystemVolume;

class InstallerUtilitiesContract : public FirmwareContract {
 protected:
  bool bless(const std::optional<std::string>& node, bool oneTime = false) {
    return machine->installerUtilities().blessDevice(node, oneTime);
  }
};

TEST_P(InstallerUtilitiesContract, ASystemVolumeIsBlessedFromNowOn) {
  EXPECT_TRUE(bless(kSystemNode));
  EXPECT_TRUE(machine->isBlessed(kBootedGroup, false));
  EXPECT_FALSE(machine->isBlessed(kBootedGroup, true));
}

TEST_P(InstallerUtilitiesContract, AChoiceForOneTimeLeavesTheLastingOne) {
  EXPECT_TRUE(bless(kSystemNode));
  EXPECT_TRUE(bless(kOtherSystemNode, true));
  EXPECT_TRUE(machine->isBlessed(kBootedGroup, false));
  EXPECT_TRUE(machine->isBlessed(kOtherGroup, true));
}

TEST_P(InstallerUtilitiesContract, ALaterChoiceTakesThePlaceOfTheFormer) {
  EXPECT_TRUE(bless(kOtherSystemNode));
  EXPECT_TRUE(bless(kSystemNode));
  EXPECT_TRUE(machine->isBlessed(kBootedGroup, false));
}

TEST_P(InstallerUtilitiesContract, WhatIsNoSystemVolumeIsRefusedAndTheOldChoiceStands) {
  EXPECT_TRUE(bless(kSystemNode));
  EXPECT_FALSE(bless(std::nullopt));
  for (const std::string& name : {kOtherDataVolume, kDataVolume, kPrebootVolume, kRecoveryVolume,
                                  kUpdateVolume, kContainer, kPlainDisk, std::string("disk9s1")}) {
    EXPECT_FALSE(bless("/dev/" + name)) << name;
  }
  EXPECT_FALSE(bless(""));
  EXPECT_FALSE(bless("/dev/"));
  EXPECT_TRUE(machine->isBlessed(kBootedGroup, false));
}

TEST_P(InstallerUtilitiesContract, AChoiceThatCannotBeStoredLeavesTheOldOne) {
  EXPECT_TRUE(bless(kOtherSystemNode));
  machine->refuseVariables();
  EXPECT_FALSE(bless(kSystemNode));
  EXPECT_TRUE(machine->isBlessed(kOtherGroup, false));
}

TEST_P(InstallerUtilitiesContract, ABootIsNotDarkUnlessItWasAskedFor) {
  EXPECT_FALSE(machine->installerUtilities().isDarkBoot());
  machine->restart();
  EXPECT_FALSE(machine->installerUtilities().isDarkBoot());
}

TEST_P(InstallerUtilitiesContract, ADarkRebootMakesTheNextBootDarkAndNoOther) {
  machine->installerUtilities().enableDarkReboot();
  EXPECT_FALSE(machine->installerUtilities().isDarkBoot());
  machine->restart();
  EXPECT_TRUE(machine->installerUtilities().isDarkBoot());
  EXPECT_TRUE(machine->installerUtilities().isDarkBoot());
  machine->restart();
  EXPECT_FALSE(machine->installerUtilities().isDarkBoot());
}

TEST_P(InstallerUtilitiesContract, ADarkBootMayAskForAnother) {
  machine->installerUtilities().enableDarkReboot();
  machine->restart();
  machine->installerUtilities().enableDarkReboot();
  EXPECT_TRUE(machine->installerUtilities().isDarkBoot());
  machine->restart();
  EXPECT_TRUE(machine->installerUtilities().isDarkBoot());
}

TEST_P(InstallerUtilitiesContract, TheChimeIsMuted) {
  EXPECT_FALSE(machine->chimeIsMuted());
  machine->installerUtilities().muteBootChimeForNextReboot();
  EXPECT_TRUE(machine->chimeIsMuted());
}

INSTANTIATE_TEST_SUITE_P(Machines, InstallerUtilitiesContract, kFirmwareMachines,
                         firmwareMachineName);

}  // namespace
}  // namespace marrow
