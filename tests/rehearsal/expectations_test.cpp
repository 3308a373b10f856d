// What each scenario has to end in, on a disk on which everything is there.
#include "rehearsal/expectations.h"

#include "rehearsal/cookie.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace marrow::rehearsal {
namespace {

using testing::ElementsAre;

class ExpectedEnd : public testing::Test {
 protected:
  ExpectedEnd() {
    for (const Item& item : items()) {
      before[item.key] = kNothing;
    }
    for (const char* place :
         {"firmware.nonce", "preboot.sealed", "preboot.restore", "recovery.group", "recovery.boot",
          "preboot.downlevel", "preboot.active", "firmware.default", "update.rest"}) {
      before[place] = "old";
    }
    for (const char* place :
         {"firmware.proposed", "preboot.sealed-staged", "preboot.restore-staged",
          "recovery.group-staged", "recovery.boot-staged"}) {
      before[place] = "new";
    }
    disk.group = "GROUP";
    disk.bootObjectsPath = "GROUP/boot/objects";
    int number = 0;
    for (const std::string_view type :
         {partition_type::kPreboot, partition_type::kRecovery, partition_type::kUpdate,
          partition_type::kSystem, partition_type::kData}) {
      disk.partitions.push_back({++number, 0, 0, std::string(type), "GROUP"});
    }
  }

  Expectation endOf(const char* name) {
    const Scenario& scenario = scenarioNamed(name);
    if (const auto missing = disk.partitionOf(scenario.missingRole)) {
      disk.partitions[static_cast<std::size_t>(*missing - 1)].type = partition_type::kLinuxData;
    }
    if (!scenario.cookieKey.empty()) {
      before["preboot.cookie"] = scenario.cookieKey;
    }
    return expectedEnd(scenario, disk, before, {"metrics", "log"});
  }

  Snapshot before;
  BootDisk disk;
};

constexpr const char* kUnmount = "MWUnmountContainerOperation";
constexpr const char* kMigrate = "MWLoamMigratorOperation";
constexpr const char* kPolicy = "MWCommitBootPolicyOperation";
constexpr const char* kObjects = "MWCommitBootObjectsOperation";
constexpr const char* kBless = "MWBlessVolumeOperation";

void expectObjects(Expectation& end, const char* state) {
  for (const char* place :
       {"preboot.sealed", "preboot.restore", "recovery.group", "recovery.boot"}) {
    EXPECT_EQ(end.after[place], state) << place;
  }
}

TEST_F(ExpectedEnd, OfABootFromTheProposedNonceHasEverythingNew) {
  Expectation end = endOf("booted-from-proposed");
  EXPECT_EQ(end.after["firmware.nonce"], "new");
  EXPECT_EQ(end.after["firmware.proposed"], kNothing);
  expectObjects(end, "new");
  EXPECT_EQ(end.after["preboot.sealed-staged"], kNothing);
  EXPECT_EQ(end.after["preboot.active"], "objects");
  EXPECT_EQ(end.after["preboot.downlevel"], "old");
  EXPECT_EQ(end.after["firmware.default"], "marrow-group.conf");
  EXPECT_EQ(end.after["firmware.metrics"], "metrics");
  EXPECT_EQ(end.after["update.metrics-inner"], "metrics");
  EXPECT_EQ(end.after["update.log"], "log");
  EXPECT_EQ(end.after["base.log"], kNothing);
  EXPECT_THAT(end.operations, ElementsAre(kUnmount, kMigrate, kPolicy, kObjects, kBless));
  EXPECT_EQ(end.verdict, "all completed");
  EXPECT_EQ(end.end, "reboot");
}

TEST_F(ExpectedEnd, OfAnotherNonceBlessesAlone) {
  Expectation end = endOf("other-nonce");
  EXPECT_EQ(end.after["firmware.nonce"], "old");
  expectObjects(end, "old");
  EXPECT_EQ(end.after["firmware.default"], "marrow-group.conf");
  EXPECT_THAT(end.operations, ElementsAre(kUnmount, kMigrate, kBless));
}

TEST_F(ExpectedEnd, CommitsAStashedKeyWhateverElseHappens) {
  before["disk.stash"] = "staged";
  EXPECT_EQ(endOf("booted-from-proposed").after["disk.stash"], "committed");
  EXPECT_EQ(endOf("migrator-missing").after["disk.stash"], "committed");
  before["disk.stash"] = kNothing;
  EXPECT_EQ(endOf("booted-from-proposed").after["disk.stash"], kNothing);
}

TEST_F(ExpectedEnd, WithoutAnEntryForTheNewSystemLeavesTheOldOneToBeStarted) {
  Expectation end = endOf("entry-missing");
  EXPECT_EQ(end.after["firmware.nonce"], "new");
  expectObjects(end, "new");
  EXPECT_EQ(end.after["firmware.default"], "old");
  EXPECT_THAT(end.operations, ElementsAre(kUnmount, kMigrate, kPolicy, kObjects, kBless));
  EXPECT_EQ(end.verdict, "one failed");
}

TEST_F(ExpectedEnd, OfAFailingDryRunIsThatOfAGoodOne) {
  EXPECT_EQ(endOf("migrator-fails").after, endOf("booted-from-proposed").after);
}

TEST_F(ExpectedEnd, WithoutAMigratorStopsThere) {
  Expectation end = endOf("migrator-missing");
  EXPECT_THAT(end.operations, ElementsAre(kUnmount, kMigrate));
  EXPECT_EQ(end.verdict, "one failed");
  EXPECT_EQ(end.after["firmware.metrics"], kNothing);
  EXPECT_EQ(end.after["firmware.nonce"], "old");
  EXPECT_EQ(end.after["firmware.default"], "old");
  EXPECT_EQ(end.end, "reboot");
}

TEST_F(ExpectedEnd, WithoutAnUpdateVolumeLeavesTheLogWhereItIs) {
  Expectation end = endOf("no-update-volume");
  EXPECT_EQ(end.after["base.log"], "log");
  EXPECT_EQ(end.after["firmware.metrics"], "metrics");
  EXPECT_EQ(end.verdict, "all completed");
}

TEST_F(ExpectedEnd, WithoutARecoveryVolumeStopsBeforeTheNonce) {
  Expectation end = endOf("no-recovery-volume");
  EXPECT_THAT(end.operations, ElementsAre(kUnmount, kMigrate, kPolicy));
  EXPECT_EQ(end.after["firmware.nonce"], "old");
  expectObjects(end, "old");
  EXPECT_EQ(end.after["update.log"], "log");
}

TEST_F(ExpectedEnd, OfAnAlternateTargetKeepsTheStartUpEntry) {
  Expectation end = endOf("alternate-target");
  EXPECT_EQ(end.after["firmware.default"], "old");
  expectObjects(end, "new");
  EXPECT_EQ(end.verdict, "all completed");
}

TEST_F(ExpectedEnd, OfAFullUpgradeHasNoDownlevelTree) {
  EXPECT_EQ(endOf("full-upgrade").after["preboot.downlevel"], kNothing);
}

TEST_F(ExpectedEnd, OfASimulatedErrorHasWhatThatOperationDid) {
  Expectation end = endOf("simulated-error");
  EXPECT_THAT(end.operations, ElementsAre(kUnmount, kMigrate, kPolicy, kObjects));
  expectObjects(end, "new");
  EXPECT_EQ(end.after["firmware.default"], "old");
  EXPECT_EQ(end.verdict, "one failed");
}

TEST_F(ExpectedEnd, OfASimulatedSkipHasNoTelemetry) {
  Expectation end = endOf("simulated-skip");
  EXPECT_THAT(end.operations,
              ElementsAre(kUnmount, "(MWLoamMigratorOperation)", kPolicy, kObjects, kBless));
  EXPECT_EQ(end.after["firmware.metrics"], kNothing);
  EXPECT_EQ(end.after["update.log"], kNothing);
  EXPECT_EQ(end.verdict, "all completed");
}

TEST_F(ExpectedEnd, OfASimulatedExerciseHasThatOperationThreeTimes) {
  Expectation end = endOf("simulated-exercise");
  EXPECT_THAT(end.operations,
              ElementsAre(kUnmount, kMigrate, kPolicy, kObjects, kObjects, kObjects, kBless));
  expectObjects(end, "new");
}

TEST_F(ExpectedEnd, OfARefusedRebootIsTheErrorNumber) {
  EXPECT_EQ(endOf("reboot-refused").end, "no reboot, marrowd ended with status 1");
}

TEST_F(ExpectedEnd, LeavesAPlaceWithoutStagedObjectAsItIs) {
  before["recovery.group-staged"] = kNothing;
  EXPECT_EQ(endOf("booted-from-proposed").after["recovery.group"], "old");
}

TEST_F(ExpectedEnd, IsOpenWhereAPersonsOwnMigratorWrites) {
  const Expectation end =
      expectedEnd(scenarioNamed("booted-from-proposed"), disk, before, MigratorWords{});
  EXPECT_FALSE(end.after.contains("firmware.metrics"));
  EXPECT_FALSE(end.after.contains("update.log"));
  EXPECT_TRUE(end.after.contains("firmware.nonce"));
}

TEST_F(ExpectedEnd, WithoutADataVolumeIsThatOfAFailedFirstStep) {
  disk.partitions.pop_back();
  const Expectation end = endOf("booted-from-proposed");
  EXPECT_THAT(end.operations, ElementsAre(kUnmount));
  EXPECT_EQ(end.verdict, "one failed");
}

}  // namespace
}  // namespace marrow::rehearsal
