#include "host/linux/linux_reboot.h"

#include "tests/linux/firmware/loader_variables.h"
#include "tests/linux/firmware/recorded_log.h"
#include "tests/linux/firmware/temporary_folder.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/reboot.h>

namespace marrow {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

// Every reboot of this test is a note in a list.
class LinuxRebootTest : public testing::Test {
 protected:
  LinuxReboot::SystemCalls notedCalls() {
    return {
        [this] { calls.push_back("sync"); },
        [this](int command) {
          EXPECT_EQ(command, RB_AUTOBOOT);
          calls.push_back(store.read(kLoaderOneShot) ? "reboot into the one-shot entry" : "reboot");
          errno = failure;
          return failure == 0 ? 0 : -1;
        }};
  }

  TemporaryFolder folder;
  RecordedLog log;
  EFIVariableStore store{log, folder.makeFolder("efivars")};
  BootLoaderEntries entries{store};
  std::vector<std::string> calls;
  int failure = 0;
  LinuxReboot reboot{
      entries, log,
      LinuxReboot::Paths{folder.path("kmsg"), folder.path("panic"), folder.path("sysrq-trigger")},
      notedCalls()};
};

TEST_F(LinuxRebootTest, EverythingIsSyncedBeforeTheReboot) {
  EXPECT_EQ(reboot.reboot(kRebootFull), 0);
  EXPECT_THAT(calls, ElementsAre("sync", "reboot"));
}

TEST_F(LinuxRebootTest, TheStatusIsThePositiveErrorNumber) {
  failure = EPERM;
  EXPECT_EQ(reboot.reboot(kRebootFull), EPERM);
}

TEST_F(LinuxRebootTest, AnyOtherFlagWordIsRefusedAndNothingHappens) {
  for (const std::uint64_t flags : {std::uint64_t{0}, std::uint64_t{1}, kRebootFull | 1U,
                                    ~std::uint64_t{0}, kRebootFull >> 1U}) {
    EXPECT_EQ(reboot.reboot(flags), EINVAL) << flags;
  }
  EXPECT_THAT(calls, IsEmpty());
}

TEST_F(LinuxRebootTest, TheOneShotEntryThatWasBootedIsForgotten) {
  store.write(kLoaderOneShot, encodeLoaderString("base.conf"));
  store.write(kLoaderSelected, encodeLoaderString("base.conf"));
  EXPECT_EQ(reboot.reboot(kRebootFull), 0);
  EXPECT_THAT(calls, ElementsAre("sync", "reboot"));
}

TEST_F(LinuxRebootTest, AOneShotEntryForTheNextBootStays) {
  store.write(kLoaderOneShot, encodeLoaderString("next.conf"));
  store.write(kLoaderSelected, encodeLoaderString("base.conf"));
  EXPECT_EQ(reboot.reboot(kRebootFull), 0);
  EXPECT_THAT(calls, ElementsAre("sync", "reboot into the one-shot entry"));
}

TEST_F(LinuxRebootTest, AStoreThatFailsDoesNotKeepTheMachineUp) {
  folder.makeFolder(std::string("efivars/LoaderEntryOneShot-") + kBootLoaderVendor);
  EXPECT_EQ(reboot.reboot(kRebootFull), 0);
  EXPECT_THAT(calls, ElementsAre("sync", "reboot"));
  EXPECT_THAT(log.texts(),
              ElementsAre("Unable to forget the boot entry of this boot. Is a directory"));
}

TEST_F(LinuxRebootTest, ACrashIsTheMessageThenTheTimeoutThenTheTrigger) {
  folder.write("kmsg", "before\n");
  folder.write("panic", "0\n");
  folder.write("sysrq-trigger", "");
  EXPECT_EQ(reboot.rebootWithMessage(kRebootPanic | kRebootQuick, "simulated panic"), 0);
  EXPECT_EQ(folder.read("kmsg"), "before\nsimulated panic\n");
  EXPECT_EQ(folder.read("panic"), "10\n");
  EXPECT_EQ(folder.read("sysrq-trigger"), "c");
  EXPECT_THAT(calls, IsEmpty());
}

TEST_F(LinuxRebootTest, AKernelThatRestartsAfterAPanicKeepsItsTimeout) {
  folder.write("kmsg", "");
  folder.write("sysrq-trigger", "");
  for (const char* const timeout : {"5\n", "-1\n", "30\n"}) {
    folder.write("panic", timeout);
    EXPECT_EQ(reboot.rebootWithMessage(kRebootPanic, "text"), 0);
    EXPECT_EQ(folder.read("panic"), timeout);
  }
}

TEST_F(LinuxRebootTest, AKernelThatCannotBeCrashedIsAStatus) {
  folder.write("kmsg", "");
  folder.write("panic", "1\n");
  EXPECT_EQ(reboot.rebootWithMessage(kRebootPanic, "text"), ENOENT);
  EXPECT_EQ(folder.read("sysrq-trigger"), std::nullopt);
  EXPECT_THAT(log.texts(), ElementsAre("Unable to crash the kernel. No such file or directory"));
}

TEST_F(LinuxRebootTest, AMessageThatCannotBeToldDoesNotStopTheCrash) {
  folder.write("sysrq-trigger", "");
  EXPECT_EQ(reboot.rebootWithMessage(kRebootPanic, "text"), 0);
  EXPECT_EQ(folder.read("sysrq-trigger"), "c");
  EXPECT_THAT(log.texts(),
              ElementsAre(StartsWith("Unable to write to the kernel's log."),
                          StartsWith("Unable to have the kernel restart after a panic.")));
}

TEST_F(LinuxRebootTest, WithoutThePanicFlagNothingIsCrashed) {
  folder.write("sysrq-trigger", "");
  EXPECT_EQ(reboot.rebootWithMessage(kRebootQuick, "text"), EINVAL);
  EXPECT_EQ(folder.read("sysrq-trigger"), "");
}

}  // namespace
}  // namespace marrow
