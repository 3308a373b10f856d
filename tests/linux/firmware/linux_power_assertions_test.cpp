#include "host/linux/linux_power_assertions.h"

#include "tests/linux/firmware/recorded_log.h"
#include "tests/linux/firmware/temporary_folder.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace marrow {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

class LinuxPowerAssertionsTest : public testing::Test {
 protected:
  LinuxPowerAssertions::Paths paths() const {
    return {folder.path("bus"), folder.path(), folder.path("tty1")};
  }
  std::uint32_t create(const std::string& type) {
    return power.create(type, kPowerAssertionLevelOn, "marrowd", assertion);
  }

  TemporaryFolder folder;
  RecordedLog log;
  LinuxPowerAssertions power{log, paths()};
  PowerAssertionID assertion = 77;
};

TEST_F(LinuxPowerAssertionsTest, AnAssertionIsAWakeLockOfItsNameAndType) {
  folder.write("wake_lock", "");
  EXPECT_EQ(create("SoftwareUpdateTask"), 0U);
  EXPECT_EQ(assertion, 1U);
  EXPECT_EQ(folder.read("wake_lock"), "marrowd.SoftwareUpdateTask");
}

TEST_F(LinuxPowerAssertionsTest, ABlankInANameDoesNotEndTheLocksName) {
  folder.write("wake_lock", "");
  EXPECT_EQ(power.create("SoftwareUpdateTask", kPowerAssertionLevelOn, "two words", assertion), 0U);
  EXPECT_EQ(folder.read("wake_lock"), "two_words.SoftwareUpdateTask");
}

TEST_F(LinuxPowerAssertionsTest, AMachineThatCannotBeKeptAwakeSaysSoOnce) {
  EXPECT_EQ(create("SoftwareUpdateTask"), static_cast<std::uint32_t>(ENOSYS));
  EXPECT_EQ(create("PreventUserIdleSystemSleep"), static_cast<std::uint32_t>(ENOSYS));
  EXPECT_EQ(assertion, 77U);
  EXPECT_THAT(log.texts(), ElementsAre(StartsWith("This machine cannot be kept awake")));
}

TEST_F(LinuxPowerAssertionsTest, ALockThatIsRefusedIsTheStatus) {
  folder.makeFolder("wake_lock");
  EXPECT_EQ(create("SoftwareUpdateTask"), static_cast<std::uint32_t>(EISDIR));
  EXPECT_EQ(assertion, 77U);
}

TEST_F(LinuxPowerAssertionsTest, TheDisplaysAssertionTurnsConsoleBlankingOffWhereverItIsTold) {
  folder.write("tty1", "");
  EXPECT_EQ(create("PreventUserIdleDisplaySleep"), static_cast<std::uint32_t>(ENOSYS));
  EXPECT_EQ(folder.read("tty1"), "\033[9;0]\033[14;0]");
}

TEST_F(LinuxPowerAssertionsTest, OtherAssertionsLeaveTheConsole) {
  folder.write("tty1", "");
  create("SoftwareUpdateTask");
  create("PreventUserIdleSystemSleep");
  EXPECT_EQ(folder.read("tty1"), "");
}

TEST_F(LinuxPowerAssertionsTest, ALockIsHeldAlsoWhereThereIsNoConsole) {
  folder.write("wake_lock", "");
  EXPECT_EQ(create("PreventUserIdleDisplaySleep"), 0U);
  EXPECT_THAT(log.texts(), ElementsAre(StartsWith("Unable to turn console blanking off")));
}

TEST_F(LinuxPowerAssertionsTest, AnUnknownTypeOrLevelIsRefused) {
  folder.write("wake_lock", "");
  EXPECT_EQ(create("NoSuchType"), static_cast<std::uint32_t>(EINVAL));
  EXPECT_EQ(power.create("SoftwareUpdateTask", 0, "marrowd", assertion),
            static_cast<std::uint32_t>(EINVAL));
  EXPECT_EQ(folder.read("wake_lock"), "");
}

TEST_F(LinuxPowerAssertionsTest, LocksAreGivenBackAtTheEnd) {
  folder.write("wake_lock", "");
  folder.write("wake_unlock", "");
  {
    LinuxPowerAssertions held(log, paths());
    held.create("SoftwareUpdateTask", kPowerAssertionLevelOn, "marrowd", assertion);
    EXPECT_EQ(folder.read("wake_unlock"), "");
  }
  EXPECT_EQ(folder.read("wake_unlock"), "marrowd.SoftwareUpdateTask");
}

}  // namespace
}  // namespace marrow
