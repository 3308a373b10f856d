#include "tests/host/in_memory_host.h"

#include <cerrno>
#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <thread>

namespace marrow {
namespace {

using testing::ElementsAre;

class ServicesTest : public testing::Test {
 protected:
  InMemoryHost machine;
};

TEST_F(ServicesTest, TheLogKeepsLevelCategoryAndText) {
  machine.log.createHandle("a.subsystem", "Operations")->log(LogLevel::error, "text");
  EXPECT_TRUE(machine.log.has(LogLevel::error, "Operations", "text"));
  EXPECT_FALSE(machine.log.has(LogLevel::error, "", "text"));
  EXPECT_EQ(machine.log.messages().front().subsystem, "a.subsystem");
  EXPECT_THAT(machine.journal.calls("Log."), ElementsAre("Log.error[Operations] text"));
}

TEST_F(ServicesTest, TheHookSeesWhatIsSevereEnough) {
  std::vector<std::string> seen;
  const LogHook before = machine.log.setHook(
      LogLevel::info, [&](LogLevel, const LogMessage& message) { seen.push_back(message.text); });
  EXPECT_FALSE(before);
  const auto handle = machine.log.createHandle("a.subsystem", "");
  for (const LogLevel level : {LogLevel::debug, LogLevel::info, LogLevel::standard}) {
    handle->log(level, std::to_string(severity(level)));
  }
  EXPECT_THAT(seen, ElementsAre("1", "2"));
  EXPECT_TRUE(machine.log.setHook(LogLevel::info, nullptr));
}

TEST_F(ServicesTest, LoggingLeavesErrnoAloneAndCreatingAHandleDoesNot) {
  const auto handle = machine.log.createHandle("a.subsystem", "");
  machine.log.setHook(LogLevel::info, [](LogLevel, const LogMessage&) { errno = EIO; });
  errno = ENOENT;
  handle->log(LogLevel::fault, "text");
  EXPECT_EQ(errno, ENOENT);
  machine.log.createHandle("a.subsystem", "");
  EXPECT_NE(errno, ENOENT);
}

TEST_F(ServicesTest, RenderingCanFail) {
  EXPECT_EQ(machine.log.render({LogLevel::info, "a", "", "text"}), "text");
  machine.faults.fail("LogService.render", ENOMEM);
  EXPECT_FALSE(machine.log.render({LogLevel::info, "a", "", "text"}));
}

TEST_F(ServicesTest, TwoThreadsMayLog) {
  constexpr std::size_t kMessages = 200;
  const auto handle = machine.log.createHandle("a.subsystem", "");
  const auto work = [&] {
    for (std::size_t count = 0; count < kMessages; ++count) {
      handle->log(LogLevel::info, "text");
    }
  };
  std::thread other(work);
  work();
  other.join();
  EXPECT_EQ(machine.log.texts().size(), 2 * kMessages);
}

TEST_F(ServicesTest, AFailedAssertionIsReportedAndEndsTheRun) {
  const RunEnded end = endOf([&] { machine.process.failAssertion("close failed: 5"); });
  EXPECT_EQ(end.kind, RunEnded::Kind::abort);
  EXPECT_EQ(end.status, SIGABRT);
  EXPECT_EQ(end.text, "close failed: 5");
  EXPECT_TRUE(machine.log.has(LogLevel::fault, "close failed: 5"));
}

TEST_F(ServicesTest, AnAcceptedRebootReturns) {
  EXPECT_EQ(machine.reboot.reboot(1), EINVAL);
  EXPECT_EQ(machine.reboot.reboot(kRebootFull | 1U), EINVAL);
  EXPECT_FALSE(machine.reboot.wasAccepted());
  EXPECT_EQ(machine.reboot.reboot(kRebootFull), 0);
  EXPECT_TRUE(machine.reboot.wasAccepted());
  EXPECT_THAT(machine.journal.calls("Reboot."),
              ElementsAre("Reboot.reboot 0x1", "Reboot.reboot 0x8000000000000001",
                          "Reboot.reboot 0x8000000000000000"));
}

TEST_F(ServicesTest, ARebootWithAMessageEndsTheRunUnlessItFails) {
  machine.faults.fail("Reboot.rebootWithMessage", EPERM).once();
  EXPECT_EQ(machine.reboot.rebootWithMessage(kRebootPanic | kRebootQuick, "text"), EPERM);
  const RunEnded end = endOf([&] { machine.reboot.rebootWithMessage(kRebootPanic, "text"); });
  EXPECT_EQ(end.kind, RunEnded::Kind::panic);
  EXPECT_EQ(end.text, "text");
  EXPECT_EQ(machine.reboot.rebootWithMessage(kRebootQuick, "text"), EINVAL);
}

TEST_F(ServicesTest, FirmwareVariablesAreSetAndDeleted) {
  EXPECT_TRUE(machine.firmware.setString("value", "key", std::nullopt));
  EXPECT_EQ(machine.firmware.string("key"), "value");
  EXPECT_FALSE(machine.firmware.committedValue("key"));
  EXPECT_TRUE(machine.firmware.forceSync());
  EXPECT_EQ(machine.firmware.committedValue("key"), "value");
  EXPECT_TRUE(machine.firmware.setString(std::nullopt, "key", std::nullopt));
  EXPECT_TRUE(machine.firmware.setString(std::nullopt, "key", std::nullopt));
  EXPECT_FALSE(machine.firmware.string("key"));
}

TEST_F(ServicesTest, ARefusedFirmwareWriteLeavesTheVariable) {
  machine.firmware.set("key", "old");
  machine.faults.fail("FirmwareVariables.setString", ENOSPC).when("key=");
  EXPECT_FALSE(machine.firmware.setString("new", "key", std::nullopt));
  EXPECT_EQ(machine.firmware.string("key"), "old");
}

TEST_F(ServicesTest, AMissingKernelVariableIsENOENT) {
  EXPECT_EQ(machine.kernelVariables.string("kern.bootuuid"), kBootedGroup);
  machine.kernelVariables.remove("kern.bootuuid");
  errno = 0;
  EXPECT_FALSE(machine.kernelVariables.string("kern.bootuuid"));
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(ServicesTest, AProgramRunsWhenItsOutputIsRead) {
  bool ran = false;
  machine.launcher.install("/bin/tool", [&](const std::vector<std::string>& arguments) {
    ran = true;
    return ProgramResult{arguments.at(0) + "!", 3};
  });
  const auto task = machine.launcher.launch("/bin/tool", {"hello"}, nullptr);
  EXPECT_FALSE(ran);
  EXPECT_EQ(task->readOutputToEnd(nullptr), "hello!");
  task->waitUntilExit();
  EXPECT_EQ(task->terminationStatus(), 3);
  EXPECT_TRUE(machine.journal.contains("TaskLauncher.launch /bin/tool hello"));
}

TEST_F(ServicesTest, TheStatusOfATaskMustBeWaitedFor) {
  const auto task = machine.launcher.launch(kMigratorPath, {}, nullptr);
  EXPECT_NONFATAL_FAILURE(task->terminationStatus(), "not waited for");
}

TEST_F(ServicesTest, AMissingProgramCannotBeStarted) {
  ErrorRef error;
  EXPECT_EQ(machine.launcher.launch("/bin/missing", {}, &error), nullptr);
  EXPECT_EQ(error->code(), ENOENT);
}

TEST_F(ServicesTest, TheProposedNonceComesIntoForce) {
  NonceDigest digest{};
  EXPECT_EQ(machine.bootPolicy.proposedNonceDigest(digest), 0);
  EXPECT_EQ(digest, InMemoryBootPolicy::digestOf(kProposedNonce));
  EXPECT_NE(digest, InMemoryBootPolicy::digestOf(kNonceInForce));
  const auto commit = [&](std::uint32_t mode) {
    return machine.bootPolicy.updateLocalPolicyNonceEnd("policy", "manifest", nullptr, mode);
  };
  EXPECT_EQ(commit(1), EINVAL);
  EXPECT_EQ(commit(BOOTPOLICY_NONCE_COMMIT_ONLY), 0);
  EXPECT_EQ(machine.bootPolicy.nonce(), kProposedNonce);
  EXPECT_EQ(commit(BOOTPOLICY_NONCE_COMMIT_ONLY), 0);
  machine.bootPolicy.setNonce(std::nullopt);
  EXPECT_EQ(commit(BOOTPOLICY_NONCE_COMMIT_ONLY), ENOENT);
  EXPECT_EQ(machine.bootPolicy.proposedNonceDigest(digest), ENOENT);
}

TEST_F(ServicesTest, OnlyASystemVolumeOfAGroupCanBeBlessed) {
  EXPECT_FALSE(machine.installer.blessDevice("/dev/disk0s5", false));
  EXPECT_FALSE(machine.installer.blessDevice(std::nullopt, false));
  machine.partitions.addVolume(kContainer, {"disk0s8", VolumeRole::system, ""});
  EXPECT_FALSE(machine.installer.blessDevice("/dev/disk0s8", false));
  EXPECT_TRUE(machine.installer.blessDevice("/dev/disk0s4", false));
  EXPECT_EQ(machine.installer.blessed(), "/dev/disk0s4");
  EXPECT_FALSE(machine.installer.blessedOnce());
}

TEST_F(ServicesTest, ADarkRebootIsDark) {
  EXPECT_FALSE(machine.installer.isDarkBoot());
  machine.installer.enableDarkReboot();
  EXPECT_FALSE(machine.installer.isDarkBoot());
  machine.restart();
  EXPECT_TRUE(machine.installer.isDarkBoot());
}

constexpr char kUpdate[] = "SoftwareUpdateTask";
constexpr char kSleep[] = "PreventUserIdleSystemSleep";

TEST_F(ServicesTest, ARefusedAssertionLeavesTheIdentifier) {
  machine.faults.fail("PowerAssertions.create", EPERM).when("Idle");
  PowerAssertionID assertion = 0;
  EXPECT_EQ(machine.power.create(kSleep, kPowerAssertionLevelOn, "me", assertion),
            static_cast<std::uint32_t>(EPERM));
  EXPECT_EQ(assertion, 0U);
  EXPECT_EQ(machine.power.create("PreventEverything", kPowerAssertionLevelOn, "me", assertion),
            static_cast<std::uint32_t>(EINVAL));
  EXPECT_EQ(assertion, 0U);
  EXPECT_EQ(machine.power.create(kUpdate, kPowerAssertionLevelOn, "me", assertion), 0U);
  EXPECT_NE(assertion, 0U);
  EXPECT_EQ(machine.power.held().size(), 1U);
}

TEST_F(ServicesTest, TheStashedKeyIsCommittedOnce) {
  EXPECT_EQ(machine.keyStore.cks_br_commit_stashed_kek(), 0);
  EXPECT_EQ(machine.keyStore.stash(), InMemoryKeyStore::Stash::committed);
  EXPECT_EQ(machine.keyStore.cks_br_commit_stashed_kek(), 0);
  machine.faults.fail("KeyStore.cks_br_commit_stashed_kek", EIO);
  EXPECT_EQ(machine.keyStore.cks_br_commit_stashed_kek(), EIO);
}

TEST_F(ServicesTest, TheDisplayRecordsWhatItShows) {
  const auto client = machine.display.createClient("Marrow");
  client->showProgressUI();
  client->setProgress(12.5F, true);
  machine.display.enableDisplayUpdates();
  EXPECT_TRUE(machine.display.isShown());
  EXPECT_TRUE(machine.display.updatesEnabled());
  client->setProgress(3.0F, false);
  EXPECT_THAT(machine.display.steps(),
              ElementsAre(InMemoryDisplay::Step{12.5F, true}, InMemoryDisplay::Step{3.0F, false}));
  EXPECT_THAT(machine.display.shownPercentages(), ElementsAre(12));
  EXPECT_TRUE(machine.journal.contains("KQUnifiedProgressClient.setProgress 12.5 animated"));
}

}  // namespace
}  // namespace marrow
