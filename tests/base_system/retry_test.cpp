#include "base_system/retry.h"

#include "tests/linux/firmware/recorded_log.h"
#include "tests/linux/firmware/temporary_folder.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace marrow {
namespace {

using testing::Contains;
using testing::HasSubstr;

const std::string kUpgrade = "6b29fc40-ca47-4067-b31d-00dd010662da/00ff";
const std::string kBaseSystem = encodeLoaderString("marrow-base.conf");
const EFIVariableName kCounter{kRetryVariable};
const EFIVariableName kOneShot{"LoaderEntryOneShot", kBootLoaderVendor};
const EFIVariableName kSelected{"LoaderEntrySelected", kBootLoaderVendor};

std::string fileOf(const EFIVariableName& variable) {
  return variable.name + "-" + variable.vendor;
}

class RetryTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(store.write(kSelected, kBaseSystem), 0); }

  // The next boot: its loader has taken the choice and forgotten it.
  void boot() { ASSERT_EQ(store.remove(kOneShot), 0); }

  void useUp(const std::string& upgrade) {
    for (unsigned used = 0; used < kMostRetries; ++used) {
      boot();
      ASSERT_EQ(retry.arm(upgrade), 0);
    }
    boot();
  }

  TemporaryFolder folder;
  RecordedLog log;
  EFIVariableStore store{log, folder.path()};
  BootLoaderEntries entries{store};
  Retry retry{store, entries, log};
};

TEST_F(RetryTest, TheBootedEntryIsArmedForTheNextBootAndCounted) {
  EXPECT_EQ(retry.arm(kUpgrade), 0);
  EXPECT_EQ(store.read(kOneShot), kBaseSystem);
  EXPECT_EQ(store.read(kCounter), kUpgrade + " 1");
  EXPECT_EQ(folder.read(fileOf(kCounter))->substr(0, 4), std::string("\7\0\0\0", 4));
}

TEST_F(RetryTest, AnUpgradeArmsThreeTimesAndThenNoMore) {
  for (const char* const count : {" 1", " 2", " 3"}) {
    boot();
    EXPECT_EQ(retry.arm(kUpgrade), 0);
    EXPECT_EQ(store.read(kOneShot), kBaseSystem);
    EXPECT_EQ(store.read(kCounter), kUpgrade + count);
  }
  boot();
  EXPECT_EQ(retry.arm(kUpgrade), 0);
  EXPECT_EQ(store.read(kOneShot), std::nullopt);
  EXPECT_EQ(store.read(kCounter), kUpgrade + " 3");
  EXPECT_THAT(log.texts(), Contains(HasSubstr("taken up 3 times already")));
}

TEST_F(RetryTest, AChoiceThatIsLeftWhenTheRetriesAreUsedUpIsTakenBack) {
  useUp(kUpgrade);
  store.write(kOneShot, kBaseSystem);
  EXPECT_EQ(retry.arm(kUpgrade), 0);
  EXPECT_EQ(store.read(kOneShot), std::nullopt);
}

TEST_F(RetryTest, AChoiceOfAnotherEntryStaysWhenTheRetriesAreUsedUp) {
  useUp(kUpgrade);
  store.write(kOneShot, encodeLoaderString("other.conf"));
  EXPECT_EQ(retry.arm(kUpgrade), 0);
  EXPECT_EQ(store.read(kOneShot), encodeLoaderString("other.conf"));
}

TEST_F(RetryTest, AnotherUpgradeStartsAfresh) {
  useUp(kUpgrade);
  for (const std::string& other : {kUpgrade + "00", kUpgrade.substr(1), std::string("-/-")}) {
    EXPECT_EQ(retry.arm(other), 0);
    EXPECT_EQ(store.read(kOneShot), kBaseSystem) << other;
    EXPECT_EQ(store.read(kCounter), other + " 1");
    useUp(other);
  }
}

TEST_F(RetryTest, ACountThatIsNoNumberCountsAsUsedUp) {
  for (const char* const count : {"", "x", "1x", "-1", " 1", "1 ", "99999999999", "4", "3"}) {
    store.write(kCounter, kUpgrade + " " + count);
    EXPECT_EQ(retry.arm(kUpgrade), 0);
    EXPECT_EQ(store.read(kOneShot), std::nullopt) << count;
  }
}

TEST_F(RetryTest, WhatIsNoCounterAtAllStartsAfresh) {
  store.write(kCounter, "something else");
  EXPECT_EQ(retry.arm(kUpgrade), 0);
  EXPECT_EQ(store.read(kCounter), kUpgrade + " 1");
}

TEST_F(RetryTest, NothingIsArmedThatCannotBeCounted) {
  folder.makeFolder(fileOf(kCounter));
  EXPECT_EQ(retry.arm(kUpgrade), EISDIR);
  EXPECT_EQ(store.read(kOneShot), std::nullopt);
  EXPECT_THAT(log.texts(), Contains(HasSubstr("Is a directory")));
}

TEST_F(RetryTest, WhereTheLoaderDoesNotTellWhatItStartedNothingIsArmed) {
  store.remove(kSelected);
  EXPECT_EQ(retry.arm(kUpgrade), ENOENT);
  EXPECT_EQ(store.read(kOneShot), std::nullopt);
  EXPECT_THAT(log.texts(), Contains(HasSubstr("arm the base system for the next boot")));
}

TEST_F(RetryTest, AMachineWithoutFirmwareVariablesSaysSo) {
  EFIVariableStore none{log, folder.path("none")};
  BootLoaderEntries noEntries{none};
  EXPECT_EQ(Retry(none, noEntries, log).arm(kUpgrade), ENODEV);
}

TEST_F(RetryTest, TheRebootOfTheDaemonTakesTheChoiceBack) {
  for (const char* const entry : {"marrow-base.conf", "marrow-base+3-1.conf", "base.efi"}) {
    store.write(kSelected, encodeLoaderString(entry));
    store.remove(kCounter);
    ASSERT_EQ(retry.arm(kUpgrade), 0);
    ASSERT_NE(store.read(kOneShot), std::nullopt);
    EXPECT_EQ(entries.forgetOneShotOfThisBoot(), 0);
    EXPECT_EQ(store.read(kOneShot), std::nullopt) << entry;
  }
}

}  // namespace
}  // namespace marrow
