#include "tests/storage/storage_test.h"

#include <set>

namespace marrow {
namespace {

const std::string kQueueLabel = "MWStorageController.DASession";

class MountRefusal : public StorageTest {
 protected:
  MountRefusal() { machine.partitions.unmountAll(); }

  void expectRefused(const std::string& volume) {
    const auto dissent = machine.arbitration.requestMount(volume);
    ASSERT_TRUE(dissent) << volume;
    EXPECT_EQ(dissent->status, 0xF8DA0004U);
    EXPECT_EQ(dissent->statusText, "in use by marrowd");
    EXPECT_FALSE(machine.partitions.isMounted(volume));
  }
  void expectApproved(const std::string& volume) {
    EXPECT_FALSE(machine.arbitration.requestMount(volume)) << volume;
  }
  Texts arbitrationCalls() { return machine.journal.calls({"DiskArbitration.", "DASession."}); }
};

TEST_F(MountRefusal, RegistersASessionOnTheControllersQueue) {
  createController()->startDissentingMounts();
  const auto calls = arbitrationCalls();
  ASSERT_GE(calls.size(), 3U);
  EXPECT_EQ(calls[0], "DiskArbitration.createSession");
  EXPECT_EQ(calls[1], "DASession.registerMountApproval");
  EXPECT_EQ(calls[2], "DASession.setQueue " + kQueueLabel);
}

TEST_F(MountRefusal, StartedTwiceHasOneSession) {
  const auto controller = createController();
  controller->startDissentingMounts();
  controller->startDissentingMounts();
  EXPECT_EQ(machine.journal.count("DiskArbitration.createSession"), 1U);
  EXPECT_EQ(machine.arbitration.scheduledSessions(), 1U);
}

TEST_F(MountRefusal, StoppedTwiceIsHarmless) {
  const auto controller = createController();
  controller->startDissentingMounts();
  controller->stopDissentingMounts();
  const auto calls = arbitrationCalls();
  controller->stopDissentingMounts();
  EXPECT_EQ(arbitrationCalls(), calls);
}

TEST_F(MountRefusal, StoppedBeforeAnyStartIsHarmless) {
  const auto controller = createController();
  controller->stopDissentingMounts();
  EXPECT_EQ(arbitrationCalls(), Texts{});
  controller->startDissentingMounts();
  expectRefused(kUpdateVolume);
}

TEST_F(MountRefusal, EndsByUnschedulingTheSessionAndThenReleasingIt) {
  const auto controller = createController();
  controller->startDissentingMounts();
  machine.journal.clear();
  controller->stopDissentingMounts();
  const auto calls = arbitrationCalls();
  ASSERT_FALSE(calls.empty());
  EXPECT_EQ(calls.front(), "DASession.setQueue none");
  EXPECT_EQ(machine.arbitration.sessions(), 0U);
}

TEST_F(MountRefusal, CanBeTakenUpAgain) {
  const auto controller = createController();
  controller->startDissentingMounts();
  controller->stopDissentingMounts();
  controller->startDissentingMounts();
  expectRefused(kRecoveryVolume);
  EXPECT_EQ(machine.journal.count("DiskArbitration.createSession"), 2U);
}

TEST_F(MountRefusal, CoversTheRecoveryAndTheUpdateVolume) {
  const auto controller = createController();
  controller->startDissentingMounts();
  expectRefused(kRecoveryVolume);
  expectRefused(kUpdateVolume);
}

TEST_F(MountRefusal, CoversEveryRoleAndEveryGroupOfTheContainer) {
  const auto controller = createController();
  controller->startDissentingMounts();
  for (const auto& volume :
       {kOtherSystemVolume, kOtherDataVolume, kPrebootVolume, kSystemVolume, kDataVolume}) {
    expectRefused(volume);
  }
}

TEST_F(MountRefusal, LeavesAnExternalDisksVolumeAlone) {
  const auto controller = createController();
  controller->startDissentingMounts();
  expectApproved(kExternalVolume);
  EXPECT_TRUE(machine.partitions.isMounted(kExternalVolume));
}

TEST_F(MountRefusal, LeavesMediaThatIsNoVolumeAlone) {
  const auto controller = createController();
  controller->startDissentingMounts();
  expectApproved(kContainer);
  expectApproved(kPlainDisk);
}

TEST_F(MountRefusal, CoversAVolumeThatAppearsLater) {
  const auto controller = createController();
  controller->startDissentingMounts();
  machine.partitions.addVolume(kContainer, {"disk0s8", VolumeRole::other, ""});
  EXPECT_TRUE(machine.arbitration.isRefused("disk0s8"));
  expectRefused("disk0s8");
}

TEST_F(MountRefusal, IsOverOnceStopped) {
  const auto controller = createController();
  controller->startDissentingMounts();
  controller->stopDissentingMounts();
  expectApproved(kUpdateVolume);
  EXPECT_TRUE(machine.partitions.isMounted(kUpdateVolume));
}

TEST_F(MountRefusal, DoesNotStandInTheWayOfTheControllersOwnMounts) {
  const auto controller = createController();
  controller->startDissentingMounts();
  EXPECT_TRUE(controller->updateVolumeMountPoint());
}

TEST_F(MountRefusal, DecidesOnItsQueueAlone) {
  const auto controller = createController();
  controller->startDissentingMounts();
  machine.arbitration.requestMount(kUpdateVolume);
  const auto queues = machine.journal.queuesOf("DVStaticMedia.mediaForRegistryEntry");
  EXPECT_EQ(std::set(queues.begin(), queues.end()), std::set{kQueueLabel});
}

TEST_F(MountRefusal, LogsTheDiskByItsName) {
  const auto controller = createController();
  controller->startDissentingMounts();
  machine.log.clear();
  machine.journal.clear();
  machine.arbitration.requestMount(kRecoveryVolume);
  machine.arbitration.requestMount(kExternalVolume);
  EXPECT_EQ(logged(), Texts{"Log.default[Operations] Dissenting mount of disk0s6"});
}

}  // namespace
}  // namespace marrow
