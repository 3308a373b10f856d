#include "tests/storage/storage_test.h"

#include <cerrno>

namespace marrow {
namespace {

using MountPointGetter = std::optional<std::string> (MWStorageController::*)();

struct RoleVolume {
  const char* roleName;
  std::string volume;
  MountPointGetter mountPoint;
};

// The three role volumes behave alike.
class MountPoints : public StorageTest, public testing::WithParamInterface<RoleVolume> {
 protected:
  MountPoints() { machine.partitions.unmountAll(); }

  const std::string& volume() const { return GetParam().volume; }
  std::string roleName() const { return GetParam().roleName; }
  static std::optional<std::string> ask(MWStorageController& controller) {
    return (controller.*GetParam().mountPoint)();
  }
  void failMounting(int code) {
    machine.faults.fail("DVStaticLoamVolume.mountAtTemporaryPath", code);
  }
  Texts settlingAndMounting() {
    return machine.journal.calls({"DeviceRegistry.waitQuiet", "DVStaticLoamVolume.mountPoint",
                                  "DVStaticLoamVolume.mountAtTemporaryPath"});
  }
};

INSTANTIATE_TEST_SUITE_P(Roles, MountPoints,
                         testing::Values(RoleVolume{"preboot", kPrebootVolume,
                                                    &MWStorageController::prebootVolumeMountPoint},
                                         RoleVolume{"recovery", kRecoveryVolume,
                                                    &MWStorageController::recoveryVolumeMountPoint},
                                         RoleVolume{"update", kUpdateVolume,
                                                    &MWStorageController::updateVolumeMountPoint}),
                         [](const auto& role) { return std::string(role.param.roleName); });

TEST_P(MountPoints, OfAMountedVolumeIsWhereItIsAndNoMountIsAttempted) {
  const auto controller = createController();
  machine.partitions.mount(volume(), "/Volumes/already");
  EXPECT_EQ(ask(*controller), "/Volumes/already");
  EXPECT_FALSE(machine.journal.contains("DVStaticLoamVolume.mountAtTemporaryPath"));
  EXPECT_EQ(logged(), Texts{});
}

TEST_P(MountPoints, OfAnUnmountedVolumeIsATemporaryOne) {
  const auto controller = createController();
  const auto mountPoint = ask(*controller);
  ASSERT_TRUE(mountPoint);
  EXPECT_EQ(machine.partitions.mountPaths(volume()), Texts{*mountPoint});
  EXPECT_EQ(logged(), Texts{});
}

TEST_P(MountPoints, AreMadeWritableAndWithoutAnyOption) {
  const auto mountPoint = ask(*createController());
  ASSERT_TRUE(mountPoint);
  EXPECT_FALSE(machine.fileSystem.mounts().back().readOnly);
  EXPECT_EQ(machine.journal.calls("DVStaticLoamVolume.mountAtTemporaryPath"),
            Texts{"DVStaticLoamVolume.mountAtTemporaryPath " + node(volume()) + " {}"});
}

TEST_P(MountPoints, AreTakenOnlyAfterTheRegistryIsQuiet) {
  ask(*createController());
  EXPECT_EQ(settlingAndMounting(),
            (Texts{"DeviceRegistry.waitQuiet " + volume(),
                   "DVStaticLoamVolume.mountPoint " + node(volume()),
                   "DVStaticLoamVolume.mountAtTemporaryPath " + node(volume()) + " {}"}));
}

TEST_P(MountPoints, OfAVolumeThatAppearsWhileTheRegistrySettlesIsTheSystems) {
  const auto controller = createController();
  machine.faults
      .before("DeviceRegistry.waitQuiet",
              [this] { machine.partitions.mount(volume(), "/Volumes/system-made"); })
      .once();
  EXPECT_EQ(ask(*controller), "/Volumes/system-made");
  EXPECT_FALSE(machine.journal.contains("DVStaticLoamVolume.mountAtTemporaryPath"));
}

TEST_P(MountPoints, AreTheSystemsWhenItMountsWhileOurOwnMountFails) {
  const auto controller = createController();
  failMounting(EBUSY);
  machine.faults
      .before("DeviceRegistry.waitQuiet",
              [this] { machine.partitions.mount(volume(), "/Volumes/system-made"); })
      .onCall(2);
  EXPECT_EQ(ask(*controller), "/Volumes/system-made");
  EXPECT_EQ(logged(), Texts{});
  EXPECT_EQ(machine.registry.references(), 0);
}

TEST_P(MountPoints, AreAbsentAfterOneErrorWhenTheMountFails) {
  const auto controller = createController();
  const ErrorRef error = makePOSIXError(EIO, {{kLocalizedDescriptionKey, std::string("broken")}});
  machine.faults.fail("DVStaticLoamVolume.mountAtTemporaryPath", error);
  EXPECT_EQ(ask(*controller), std::nullopt);
  EXPECT_EQ(logged(), Texts{"Log.error Failed to mount " + roleName() +
                            " volume at temporary path for container: /dev/disk0. "
                            "POSIXErrorDomain code 5: broken"});
  EXPECT_EQ(machine.registry.references(), 0);
}

TEST_P(MountPoints, AreLookedUpOnceMoreAfterTheRegistrySettledFromAFailedMount) {
  const auto controller = createController();
  failMounting(EIO);
  ask(*controller);
  EXPECT_EQ(settlingAndMounting(),
            (Texts{"DeviceRegistry.waitQuiet " + volume(),
                   "DVStaticLoamVolume.mountPoint " + node(volume()),
                   "DVStaticLoamVolume.mountAtTemporaryPath " + node(volume()) + " {}",
                   "DeviceRegistry.waitQuiet " + volume(),
                   "DVStaticLoamVolume.mountPoint " + node(volume())}));
}

TEST_P(MountPoints, AreAbsentAfterOneErrorWhenThereIsNoSuchVolume) {
  const auto controller = createController();
  machine.partitions.removeVolume(volume());
  EXPECT_EQ(ask(*controller), std::nullopt);
  EXPECT_EQ(logged(),
            Texts{"Log.error Failed to find " + roleName() + " volume for container: /dev/disk0"});
  EXPECT_FALSE(machine.journal.contains("DeviceRegistry."));
}

TEST_P(MountPoints, AreFoundWithoutWaitingWhereTheVolumeHasNoRegistryEntry) {
  const auto controller = createController();
  machine.registry.remove(machine.registry.named(volume()));
  EXPECT_TRUE(ask(*controller));
  EXPECT_FALSE(machine.journal.contains("DeviceRegistry.waitQuiet"));
}

TEST_P(MountPoints, AreWorkedOutAnewAtEachCall) {
  const auto controller = createController();
  const auto first = ask(*controller);
  EXPECT_EQ(ask(*controller), first);
  machine.partitions.unmount(volume());
  machine.partitions.mount(volume(), "/Volumes/moved");
  EXPECT_EQ(ask(*controller), "/Volumes/moved");
  EXPECT_EQ(machine.journal.count("DVStaticLoamVolume.mountAtTemporaryPath"), 1U);
}

TEST_P(MountPoints, OutliveTheController) {
  const auto mountPoint = ask(*createController());
  ASSERT_TRUE(mountPoint);
  EXPECT_EQ(machine.partitions.mountPaths(volume()), Texts{*mountPoint});
  EXPECT_FALSE(machine.journal.contains("DVStaticLoamVolume.unmount"));
}

TEST_P(MountPoints, GiveTheMediaEntryBack) {
  const auto controller = createController();
  ask(*controller);
  ask(*controller);
  EXPECT_EQ(machine.registry.references(), 0);
}

}  // namespace
}  // namespace marrow
