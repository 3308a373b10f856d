#include "tests/storage/storage_test.h"

#include <cerrno>

namespace marrow {
namespace {

const std::vector<std::string> kVolumes = {kOtherSystemVolume, kOtherDataVolume, kPrebootVolume,
                                           kSystemVolume,      kDataVolume,      kRecoveryVolume,
                                           kUpdateVolume};
const std::string kEnsuring =
    "Log.default Ensuring Volumes are Unmounted: (/dev/disk0s1, /dev/disk0s2, /dev/disk0s3, "
    "/dev/disk0s4, /dev/disk0s5, /dev/disk0s6, /dev/disk0s7)";

class UnmountContainer : public StorageTest {
 protected:
  UnmountContainer() { machine.partitions.unmountAll(); }

  void mountAll() {
    for (const auto& volume : kVolumes) {
      machine.partitions.mount(volume, "/Volumes/" + volume);
    }
  }
  ErrorRef failUnmount(const std::string& volume, int code) {
    auto error = makePOSIXError(code, {{kLocalizedDescriptionKey, "held: " + volume}});
    machine.faults.fail("DVStaticLoamVolume.unmount", error).when(node(volume));
    return error;
  }
};

TEST_F(UnmountContainer, TakesEveryVolumeOfEveryGroupOffline) {
  mountAll();
  EXPECT_TRUE(createController()->unmountContainer(nullptr));
  EXPECT_EQ(machine.partitions.mountedVolumes(), Texts{});
}

TEST_F(UnmountContainer, GoesInTheLibrarysOrderByForceAndEverywhere) {
  mountAll();
  createController()->unmountContainer(nullptr);
  Texts expected;
  for (const auto& volume : kVolumes) {
    expected.push_back("DVStaticLoamVolume.unmount " + node(volume) +
                       " {DVLoamVolumeUnmountOptionAll=true, DVLoamVolumeUnmountOptionForce=true}");
  }
  EXPECT_EQ(machine.journal.calls("DVStaticLoamVolume.unmount"), expected);
}

TEST_F(UnmountContainer, NamesEachVolumeBeforeItIsUnmounted) {
  machine.partitions.mount(kPrebootVolume, "/Volumes/preboot");
  machine.partitions.mount(kUpdateVolume, "/Volumes/update");
  createController()->unmountContainer(nullptr);
  EXPECT_EQ(logged(), (Texts{kEnsuring, "Log.default Unmounting: /dev/disk0s3",
                             "Log.default Unmounting: /dev/disk0s7"}));
  EXPECT_TRUE(machine.journal.inOrder("Log.default Unmounting: /dev/disk0s7",
                                      "DVStaticLoamVolume.unmount /dev/disk0s7"));
}

TEST_F(UnmountContainer, OfUnmountedVolumesLogsOneLineAndSucceeds) {
  EXPECT_TRUE(createController()->unmountContainer(nullptr));
  EXPECT_EQ(logged(), Texts{kEnsuring});
  EXPECT_FALSE(machine.journal.contains("DVStaticLoamVolume.unmount "));
}

TEST_F(UnmountContainer, WithoutVolumesSucceeds) {
  const auto controller = createController();
  for (const auto& volume : kVolumes) {
    machine.partitions.removeVolume(volume);
  }
  EXPECT_TRUE(controller->unmountContainer(nullptr));
  EXPECT_EQ(logged(), Texts{"Log.default Ensuring Volumes are Unmounted: ()"});
}

TEST_F(UnmountContainer, ReachesAVolumeThatIsMountedElsewhere) {
  machine.partitions.setMountedElsewhere(kRecoveryVolume, true);
  EXPECT_TRUE(createController()->unmountContainer(nullptr));
  EXPECT_FALSE(machine.partitions.isMounted(kRecoveryVolume));
}

TEST_F(UnmountContainer, ReachesAVolumeThatIsMountedWhileTheWalkIsOnItsWay) {
  machine.partitions.mount(kOtherSystemVolume, "/Volumes/first");
  machine.faults
      .before("DVStaticLoamVolume.unmount",
              [this] { machine.partitions.mount(kUpdateVolume, "/Volumes/late"); })
      .once();
  EXPECT_TRUE(createController()->unmountContainer(nullptr));
  EXPECT_EQ(machine.partitions.mountedVolumes(), Texts{});
}

TEST_F(UnmountContainer, EndsWhatKeepsAVolumeBusy) {
  mountAll();
  machine.partitions.holdBusy(kDataVolume);
  EXPECT_TRUE(createController()->unmountContainer(nullptr));
}

TEST_F(UnmountContainer, LeavesOtherContainersAlone) {
  machine.partitions.mount(kExternalVolume, "/Volumes/external");
  createController()->unmountContainer(nullptr);
  EXPECT_EQ(machine.partitions.mountedVolumes(), Texts{kExternalVolume});
}

TEST_F(UnmountContainer, GoesOnAfterTheSecondAndTheFourthFailAndKeepsTheFourthsError) {
  mountAll();
  const auto controller = createController();
  failUnmount(kOtherDataVolume, EBUSY);
  const ErrorRef last = failUnmount(kSystemVolume, EIO);
  ErrorRef error;
  EXPECT_FALSE(controller->unmountContainer(&error));
  EXPECT_EQ(error, last);
  EXPECT_EQ(machine.partitions.mountedVolumes(), (Texts{kOtherDataVolume, kSystemVolume}));
}

TEST_F(UnmountContainer, LogsEachFailureAndTriesNoneTwice) {
  mountAll();
  const auto controller = createController();
  failUnmount(kOtherDataVolume, EBUSY);
  failUnmount(kSystemVolume, EIO);
  EXPECT_FALSE(controller->unmountContainer(nullptr));
  EXPECT_EQ(machine.journal.calls("Log.error"),
            (Texts{"Log.error Failed to unmount (/dev/disk0s2). POSIXErrorDomain code 16: held: "
                   "disk0s2",
                   "Log.error Failed to unmount (/dev/disk0s4). POSIXErrorDomain code 5: held: "
                   "disk0s4"}));
  EXPECT_EQ(machine.journal.count("DVStaticLoamVolume.unmount "), kVolumes.size());
}

TEST_F(UnmountContainer, FailsWhenTheLastVolumeFails) {
  mountAll();
  const auto controller = createController();
  const ErrorRef last = failUnmount(kUpdateVolume, EBUSY);
  ErrorRef error;
  EXPECT_FALSE(controller->unmountContainer(&error));
  EXPECT_EQ(error, last);
  EXPECT_EQ(machine.partitions.mountedVolumes(), Texts{kUpdateVolume});
}

TEST_F(UnmountContainer, LeavesTheSlotAloneWhenItSucceeds) {
  mountAll();
  const ErrorRef before = makeError("before", 1);
  ErrorRef error = before;
  EXPECT_TRUE(createController()->unmountContainer(&error));
  EXPECT_EQ(error, before);
}

}  // namespace
}  // namespace marrow
