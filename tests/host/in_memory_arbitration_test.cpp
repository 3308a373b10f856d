#include "tests/host/in_memory_host.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace marrow {
namespace {

using testing::Contains;
using testing::ElementsAre;

class ArbitrationTest : public testing::Test {
 protected:
  void refuse(const std::string& name) {
    session->registerMountApproval([this, name](DADisk& disk) {
      asked.push_back(disk.bsdName());
      labels.push_back(machine.queues.currentLabel());
      return disk.bsdName() == name ? std::optional(DADissent{kDAReturnNotPermitted, "no"})
                                    : std::nullopt;
    });
    session->setQueue(queue);
  }

  InMemoryHost machine;
  InMemoryArbitration& arbitration = machine.arbitration;
  std::vector<std::string> asked;
  std::vector<std::string> labels;
  std::shared_ptr<SerialTaskQueue> queue = machine.queues.createSerialQueue("arbitration");
  std::unique_ptr<DASession> session = arbitration.createSession();
};

TEST_F(ArbitrationTest, SchedulingAsksAboutEveryDiskOnTheQueue) {
  refuse("none");
  EXPECT_EQ(asked, machine.partitions.names());
  EXPECT_THAT(labels, testing::Each("arbitration"));
}

TEST_F(ArbitrationTest, TheJournalLeavesOutWhatTheServiceDoesWithTheQueue) {
  refuse("none");
  session->setQueue(nullptr);
  EXPECT_EQ(machine.journal.count("SerialTaskQueue.sync"), 0U);
  queue->sync([] {});
  EXPECT_EQ(machine.journal.count("SerialTaskQueue.sync"), 1U);
}

TEST_F(ArbitrationTest, ADissentRefusesTheMount) {
  refuse(kRecoveryVolume);
  const auto dissent = arbitration.requestMount(kRecoveryVolume);
  ASSERT_TRUE(dissent);
  EXPECT_EQ(dissent->status, kDAReturnNotPermitted);
  EXPECT_FALSE(machine.partitions.isMounted(kRecoveryVolume));
  EXPECT_TRUE(arbitration.isRefused(kRecoveryVolume));
}

TEST_F(ArbitrationTest, WithoutADissentTheMountGoesOn) {
  refuse(kRecoveryVolume);
  EXPECT_FALSE(arbitration.requestMount(kUpdateVolume));
  EXPECT_THAT(machine.partitions.mountPaths(kUpdateVolume), ElementsAre("/Volumes/disk0s7"));
}

TEST_F(ArbitrationTest, AnUnscheduledSessionRefusesNothing) {
  refuse(kRecoveryVolume);
  session->setQueue(nullptr);
  EXPECT_FALSE(arbitration.isRefused(kRecoveryVolume));
  EXPECT_EQ(arbitration.scheduledSessions(), 0U);
  EXPECT_FALSE(arbitration.requestMount(kRecoveryVolume));
}

TEST_F(ArbitrationTest, ADestroyedSessionRefusesNothing) {
  refuse(kRecoveryVolume);
  session.reset();
  EXPECT_EQ(arbitration.sessions(), 0U);
  EXPECT_FALSE(arbitration.requestMount(kRecoveryVolume));
}

TEST_F(ArbitrationTest, ANewVolumeIsAskedAbout) {
  refuse("disk0s8");
  machine.partitions.addVolume(kContainer, {"disk0s8", VolumeRole::data, ""});
  EXPECT_THAT(asked, Contains("disk0s8"));
  EXPECT_TRUE(arbitration.isRefused("disk0s8"));
}

TEST_F(ArbitrationTest, ADiskHandsOutAReferenceToItsEntry) {
  session->registerMountApproval([this](DADisk& disk) -> std::optional<DADissent> {
    const RegistryEntry entry = disk.copyMediaEntry();
    EXPECT_EQ(machine.registry.references(entry.handle()), 1);
    return std::nullopt;
  });
  session->setQueue(queue);
  EXPECT_EQ(machine.registry.references(), 0);
}

TEST_F(ArbitrationTest, ADiskWithoutAnEntryHasNoReference) {
  machine.registry.remove(machine.registry.named(kPlainDisk));
  bool hasEntry = true;
  session->registerMountApproval([&](DADisk& disk) -> std::optional<DADissent> {
    hasEntry = disk.bsdName() == kPlainDisk ? bool(disk.copyMediaEntry()) : hasEntry;
    return std::nullopt;
  });
  session->setQueue(queue);
  EXPECT_FALSE(hasEntry);
}

}  // namespace
}  // namespace marrow
