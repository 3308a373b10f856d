#include "host/linux/linux_installer_utilities.h"

#include "host/linux/linux_firmware_variables.h"
#include "tests/host/in_memory_host.h"
#include "tests/linux/firmware/loader_variables.h"
#include "tests/linux/firmware/recorded_log.h"
#include "tests/linux/firmware/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace marrow {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

const EFIVariableName kDarkBoot{"marrow-dark-boot"};

class LinuxInstallerUtilitiesTest : public testing::Test {
 protected:
  TemporaryFolder folder;
  RecordedLog log;
  EFIVariableStore store{log, folder.path()};
  BootLoaderEntries entries{store};
  InMemoryHost machine;
  LinuxInstallerUtilities::Services services{store, entries, machine.partitions, log};
  LinuxInstallerUtilities utilities{services};
};

TEST_F(LinuxInstallerUtilitiesTest, TheEntryIsTheGroupInLowerCase) {
  EXPECT_TRUE(utilities.blessDevice("/dev/" + kSystemVolume, false));
  EXPECT_EQ(store.read(kLoaderDefault), encodeLoaderString(kGroupEntry + ".conf"));
  EXPECT_THAT(log.texts(), IsEmpty());
}

TEST_F(LinuxInstallerUtilitiesTest, AnEntryWithABootCounterIsBlessedByAPattern) {
  store.write({"LoaderEntries", kBootLoaderVendor},
              encodeLoaderString("other.conf") + encodeLoaderString(kGroupEntry + "+3-1.conf"));
  EXPECT_TRUE(utilities.blessDevice("/dev/" + kSystemVolume, false));
  EXPECT_EQ(store.read(kLoaderDefault), encodeLoaderString(kGroupEntry + "*.conf"));
}

TEST_F(LinuxInstallerUtilitiesTest, AnEntryThatTheLoaderDoesNotKnowIsNotBlessed) {
  store.write({"LoaderEntries", kBootLoaderVendor}, encodeLoaderString("other.conf"));
  EXPECT_FALSE(utilities.blessDevice("/dev/" + kSystemVolume, false));
  EXPECT_EQ(store.read(kLoaderDefault), std::nullopt);
  EXPECT_THAT(log.texts(), ElementsAre("Unable to choose boot entry " + kGroupEntry +
                                       ". No such file or directory"));
}

TEST_F(LinuxInstallerUtilitiesTest, ARefusedNodeIsNamedInTheLog) {
  EXPECT_FALSE(utilities.blessDevice("/dev/" + kDataVolume, false));
  EXPECT_FALSE(utilities.blessDevice(std::nullopt, false));
  EXPECT_THAT(log.texts(),
              ElementsAre("Unable to start from /dev/disk0s5. No system volume of a volume group "
                          "has this device node",
                          "Unable to start from (null). No system volume of a volume group has "
                          "this device node"));
}

TEST_F(LinuxInstallerUtilitiesTest, ASystemVolumeWithoutAGroupIsNotBlessed) {
  machine.partitions.addVolume(kContainer, {"disk0s9", VolumeRole::system, "", false});
  EXPECT_FALSE(utilities.blessDevice("/dev/disk0s9", false));
  EXPECT_EQ(store.read(kLoaderDefault), std::nullopt);
}

TEST_F(LinuxInstallerUtilitiesTest, ADarkBootIsReadAndDeletedAtTheFirstQuestionOnly) {
  store.write(kDarkBoot, "1");
  EXPECT_TRUE(utilities.isDarkBoot());
  EXPECT_EQ(store.read(kDarkBoot), std::nullopt);
  store.write(kDarkBoot, "1");
  EXPECT_TRUE(utilities.isDarkBoot());
  EXPECT_EQ(store.read(kDarkBoot), "1");
}

TEST_F(LinuxInstallerUtilitiesTest, NothingIsReadOrDeletedBeforeTheFirstQuestion) {
  store.write(kDarkBoot, "1");
  const LinuxInstallerUtilities unasked(services);
  EXPECT_EQ(store.read(kDarkBoot), "1");
}

TEST_F(LinuxInstallerUtilitiesTest, OnlyTheValueOneMakesADarkBootButAnyIsDeleted) {
  for (const std::string& value : {std::string("0"), std::string("11"), std::string("1\0", 2)}) {
    store.write(kDarkBoot, value);
    EXPECT_FALSE(LinuxInstallerUtilities(services).isDarkBoot());
    EXPECT_EQ(store.read(kDarkBoot), std::nullopt);
  }
}

TEST_F(LinuxInstallerUtilitiesTest, ADarkRebootAndASilentOneAreWrittenAsOne) {
  utilities.enableDarkReboot();
  utilities.muteBootChimeForNextReboot();
  EXPECT_EQ(store.read(kDarkBoot), "1");
  EXPECT_EQ(store.read({"marrow-mute-boot-chime"}), "1");
}

TEST_F(LinuxInstallerUtilitiesTest, WhatTheFirmwareRefusesIsToldToTheLogAlone) {
  folder.makeFolder(std::string("marrow-mute-boot-chime-") + kMarrowVendor);
  utilities.muteBootChimeForNextReboot();
  EXPECT_THAT(log.texts(), ElementsAre("Unable to write firmware variable marrow-mute-boot-chime. "
                                       "Is a directory"));
}

class LinuxFirmwareVariablesTest : public testing::Test {
 protected:
  TemporaryFolder folder;
  RecordedLog log;
  EFIVariableStore store{log, folder.path()};
  LinuxFirmwareVariables variables{store, log};
};

TEST_F(LinuxFirmwareVariablesTest, ANamespaceIsAVendor) {
  EXPECT_TRUE(variables.setString("value", "name", std::string(kBootLoaderVendor)));
  EXPECT_EQ(folder.read(std::string("name-") + kBootLoaderVendor),
            std::string("\7\0\0\0", 4) + "value");
}

TEST_F(LinuxFirmwareVariablesTest, ANamespaceThatIsNoVendorIsRefusedAndToldToTheLog) {
  EXPECT_FALSE(variables.setString("value", "name", "nowhere"));
  EXPECT_FALSE(variables.setString(std::nullopt, "name", "nowhere"));
  EXPECT_THAT(log.texts(),
              ElementsAre("Unable to write firmware variable name. Invalid argument",
                          "Unable to delete firmware variable name. Invalid argument"));
}

// A machine without EFI variables.
class MissingVariablesTest : public LinuxFirmwareVariablesTest {
 protected:
  EFIVariableStore missing{log, folder.path("nowhere")};
};

TEST_F(MissingVariablesTest, EveryChangeFailsAndTheLogIsToldOnce) {
  LinuxFirmwareVariables none(missing, log);
  EXPECT_EQ(none.string("name"), std::nullopt);
  EXPECT_FALSE(none.setString("value", "name", std::nullopt));
  EXPECT_FALSE(none.setString(std::nullopt, "name", std::nullopt));
  EXPECT_FALSE(none.forceSync());
  EXPECT_THAT(log.texts(), ElementsAre(StartsWith("This machine has no firmware variables")));
}

TEST_F(MissingVariablesTest, NoVolumeIsBlessedAndNoBootIsDark) {
  InMemoryHost machine;
  BootLoaderEntries entries(missing);
  LinuxInstallerUtilities utilities({missing, entries, machine.partitions, log});
  EXPECT_FALSE(utilities.isDarkBoot());
  EXPECT_FALSE(utilities.blessDevice("/dev/" + kSystemVolume, false));
  utilities.muteBootChimeForNextReboot();
  EXPECT_EQ(entries.forgetOneShotOfThisBoot(), 0);
  EXPECT_THAT(log.texts(), ElementsAre(StartsWith("This machine has no firmware variables")));
}

}  // namespace
}  // namespace marrow
