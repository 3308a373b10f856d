#include "tests/host/in_memory_host.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace marrow {
namespace {

using testing::ElementsAre;

constexpr auto kMakeFile = OpenFlags::writeOnly | OpenFlags::create;

class CallsTest : public testing::Test {
 protected:
  bool opens(const std::string& path) { return machine.files.open(path, kMakeFile) >= 0; }

  InMemoryHost machine;
};

TEST_F(CallsTest, TheJournalHasEveryCallInOrder) {
  const int descriptor = machine.files.open("/private/tmp/a", kMakeFile);
  machine.files.close(descriptor);
  machine.firmware.setString("1", "variable", std::nullopt);
  EXPECT_THAT(machine.journal.calls(),
              ElementsAre("Files.open /private/tmp/a writeOnly|create",
                          "Files.close /private/tmp/a", "FirmwareVariables.setString variable=1"));
  EXPECT_TRUE(machine.journal.inOrder("Files.open", "Files.close"));
  EXPECT_FALSE(machine.journal.inOrder("Files.close", "Files.open"));
}

TEST_F(CallsTest, TheJournalIsFilteredByPrefixes) {
  machine.firmware.forceSync();
  machine.keyStore.cks_br_commit_stashed_kek();
  machine.power.create("SoftwareUpdateTask", kPowerAssertionLevelOn, "b",
                       *std::make_unique<PowerAssertionID>());
  EXPECT_THAT(machine.journal.calls({"KeyStore.", "FirmwareVariables."}),
              ElementsAre("FirmwareVariables.forceSync", "KeyStore.cks_br_commit_stashed_kek"));
  EXPECT_EQ(machine.journal.count("PowerAssertions.create SoftwareUpdateTask 255 b"), 1U);
}

TEST_F(CallsTest, TheJournalKnowsTheQueueOfACall) {
  const auto queue = machine.queues.createSerialQueue("worker");
  machine.firmware.forceSync();
  queue->async([&] { machine.firmware.forceSync(); });
  machine.queues.mainQueue().async([&] { machine.firmware.forceSync(); });
  machine.queues.runUntilIdle();
  EXPECT_THAT(machine.journal.queuesOf("FirmwareVariables.forceSync"),
              ElementsAre("", "main", "worker"));
}

TEST_F(CallsTest, AFaultHoldsUntilFurtherNotice) {
  machine.faults.fail("Files.open", EACCES);
  errno = 0;
  EXPECT_FALSE(opens("/private/tmp/a"));
  EXPECT_EQ(errno, EACCES);
  EXPECT_FALSE(opens("/private/tmp/b"));
  EXPECT_FALSE(machine.fileSystem.exists("/private/tmp/a"));
}

TEST_F(CallsTest, AFaultMayStrikeOnce) {
  const FaultRule& rule = machine.faults.fail("Files.open", EIO).once();
  EXPECT_FALSE(opens("/private/tmp/a"));
  EXPECT_TRUE(opens("/private/tmp/a"));
  EXPECT_EQ(rule.effects(), 1U);
}

TEST_F(CallsTest, AFaultMayStrikeTheNthMatchingCall) {
  machine.faults.fail("Files.open", EIO).when("/b").onCall(2);
  EXPECT_TRUE(opens("/private/tmp/b1"));
  EXPECT_TRUE(opens("/private/tmp/a"));
  EXPECT_FALSE(opens("/private/tmp/b2"));
  EXPECT_TRUE(opens("/private/tmp/b2"));
}

TEST_F(CallsTest, AFaultMayStrikeFromTheNthCallOn) {
  machine.faults.fail("Files.open", EIO).after(1);
  EXPECT_TRUE(opens("/private/tmp/a"));
  EXPECT_FALSE(opens("/private/tmp/a"));
  EXPECT_FALSE(opens("/private/tmp/a"));
}

TEST_F(CallsTest, TheLatestFaultHolds) {
  machine.faults.fail("Files.open", EIO);
  machine.faults.fail("Files.open", ENOSPC);
  EXPECT_FALSE(opens("/private/tmp/a"));
  EXPECT_EQ(errno, ENOSPC);
}

TEST_F(CallsTest, SomethingMayHappenBeforeACallAndTheCallGoesOn) {
  machine.faults.before("Files.exists", [&] { machine.fileSystem.write("/late", ""); }).once();
  EXPECT_EQ(machine.files.exists("/late"), 0);
}

TEST_F(CallsTest, AnyCallCanBeFailedByItsNumber) {
  machine.faults.failCallNumber(2, ENOSPC);
  EXPECT_TRUE(machine.firmware.forceSync());
  EXPECT_FALSE(machine.firmware.forceSync());
  EXPECT_TRUE(machine.firmware.forceSync());
}

TEST_F(CallsTest, AFaultsErrorRecordIsTheCalls) {
  const ErrorRef record = makeError("Domain", 5);
  machine.faults.fail("TaskLauncher.launch", record);
  ErrorRef error;
  EXPECT_EQ(machine.launcher.launch(kMigratorPath, {}, &error), nullptr);
  EXPECT_EQ(error, record);
}

TEST_F(CallsTest, AfterAPowerCutNothingHasAnEffectAndTheRunStillEnds) {
  machine.faults.cutPowerAtCall(2);
  const RunEnded end = endOf([&] {
    machine.firmware.setString("1", "first", std::nullopt);
    EXPECT_FALSE(machine.firmware.setString("1", "second", std::nullopt));
    EXPECT_NE(machine.reboot.reboot(kRebootFull), 0);
    machine.process.exit(0);
  });
  EXPECT_EQ(end.kind, RunEnded::Kind::powerCut);
  EXPECT_TRUE(machine.firmware.value("first"));
  EXPECT_FALSE(machine.firmware.value("second"));
  EXPECT_FALSE(machine.reboot.wasAccepted());
  EXPECT_EQ(machine.journal.count("Reboot."), 0U);
}

TEST_F(CallsTest, ARestartAfterAPowerCutLosesWhatTheFirmwareDidNotCommit) {
  machine.firmware.setString("1", "committed", std::nullopt);
  machine.firmware.forceSync();
  machine.firmware.setString("1", "pending", std::nullopt);
  machine.faults.cutPowerAtCall(1);
  EXPECT_FALSE(machine.firmware.forceSync());
  machine.restart();
  EXPECT_TRUE(machine.firmware.string("committed"));
  EXPECT_FALSE(machine.firmware.string("pending"));
}

TEST_F(CallsTest, ARestartLeavesNothingMountedAndTheDisksAsTheyWere) {
  machine.files.open("/Volumes/preboot/note", kMakeFile);
  machine.restart();
  EXPECT_TRUE(machine.partitions.mountedVolumes().empty());
  EXPECT_TRUE(machine.files.openPaths().empty());
  EXPECT_TRUE(machine.fileSystem.exists("/@disk0s3/note"));
}

}  // namespace
}  // namespace marrow
