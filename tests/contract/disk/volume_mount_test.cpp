#include "tests/contract/disk/disk_world.h"

#include <cerrno>

namespace marrow {

namespace {

const VolumeOptions kReadOnly = {{DVLoamVolumeMountOptionReadOnly, true}};
const VolumeOptions kAll = {{DVLoamVolumeUnmountOptionAll, true}};
const VolumeOptions kForceAll = {{DVLoamVolumeUnmountOptionForce, true},
                                 {DVLoamVolumeUnmountOptionAll, true}};

class VolumeMountContract : public DiskContract {
 protected:
  std::shared_ptr<DVStaticLoamVolume> newVolume() {
    _disk = world->addContainer({{WorldRole::data, world->newGroup()}});
    _name = world->volumeName(_disk, 0);
    return volume(_disk, 0);
  }

  std::string _disk;
  std::string _name;
};
INSTANTIATE_TEST_SUITE_P(Worlds, VolumeMountContract, bothDiskWorlds(), nameOfDiskWorld);

TEST_P(VolumeMountContract, IsNotMountedAtFirst) {
  const auto data = newVolume();
  EXPECT_FALSE(data->isMounted());
  EXPECT_EQ(data->mountPoint(), std::nullopt);
}

TEST_P(VolumeMountContract, MountsAtATemporaryPathForWriting) {
  const auto data = newVolume();
  const auto path = data->mountAtTemporaryPath({}, nullptr);
  ASSERT_TRUE(path);
  EXPECT_NE(path->find("/marrow/mnt/" + _name + "-"), std::string::npos);
  EXPECT_TRUE(data->isMounted());
  EXPECT_EQ(data->mountPoint(), path);
  world->writeFile(*path + "/file", "written");
  EXPECT_EQ(world->readFile(*path + "/file"), "written");
}

TEST_P(VolumeMountContract, HasNoMountPointWhereItIsReadOnly) {
  const auto data = newVolume();
  ASSERT_TRUE(data->mountAtTemporaryPath(kReadOnly, nullptr));
  EXPECT_TRUE(data->isMounted());
  EXPECT_EQ(data->mountPoint(), std::nullopt);
}

TEST_P(VolumeMountContract, KeepsWhatWasWrittenAndRemovesItsDirectoryWhenUnmounted) {
  const auto data = newVolume();
  const auto path = data->mountAtTemporaryPath({}, nullptr);
  ASSERT_TRUE(path);
  world->writeFile(*path + "/file", "kept");
  EXPECT_TRUE(data->unmount({}, nullptr));
  EXPECT_FALSE(data->isMounted());
  EXPECT_FALSE(world->exists(*path));
  const auto again = data->mountAtTemporaryPath(kReadOnly, nullptr);
  ASSERT_TRUE(again);
  EXPECT_EQ(world->readFile(*again + "/file"), "kept");
}

TEST_P(VolumeMountContract, UnmountingWhatIsNotMountedSucceeds) {
  const auto data = newVolume();
  EXPECT_TRUE(data->unmount({}, nullptr));
  EXPECT_TRUE(data->unmount(kForceAll, nullptr));
}

TEST_P(VolumeMountContract, SeesWhatOthersMounted) {
  const auto data = newVolume();
  ASSERT_TRUE(world->mountByOthers(_name));
  EXPECT_TRUE(data->isMounted());
  EXPECT_NE(data->mountPoint(), std::nullopt);
}

TEST_P(VolumeMountContract, HasNoMountPointWhereOthersMountedItReadOnly) {
  const auto data = newVolume();
  ASSERT_TRUE(world->mountByOthers(_name, true));
  EXPECT_TRUE(data->isMounted());
  EXPECT_EQ(data->mountPoint(), std::nullopt);
}

TEST_P(VolumeMountContract, MountsBesideAMountOfOthersAndLeavesTheirs) {
  const auto data = newVolume();
  ASSERT_TRUE(world->mountByOthers(_name));
  const auto path = data->mountAtTemporaryPath(kReadOnly, nullptr);
  ASSERT_TRUE(path);
  EXPECT_NE(path, data->mountPoint());
  EXPECT_EQ(world->mountCount(_name), 2U);
  EXPECT_TRUE(data->unmount({}, nullptr));
  EXPECT_EQ(world->mountCount(_name), 1U);
  EXPECT_TRUE(data->isMounted());
}

TEST_P(VolumeMountContract, RefusesToUnmountWhatOnlyOthersMounted) {
  const auto data = newVolume();
  ASSERT_TRUE(world->mountByOthers(_name));
  ErrorRef error;
  EXPECT_FALSE(data->unmount({}, &error));
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->domain(), kPOSIXErrorDomain);
  EXPECT_EQ(error->code(), EBUSY);
  EXPECT_TRUE(data->isMounted());
}

TEST_P(VolumeMountContract, UnmountsEveryMountWhenAskedTo) {
  const auto data = newVolume();
  ASSERT_TRUE(world->mountByOthers(_name));
  ASSERT_TRUE(data->mountAtTemporaryPath({}, nullptr));
  EXPECT_TRUE(data->unmount(kAll, nullptr));
  EXPECT_EQ(world->mountCount(_name), 0U);
  EXPECT_FALSE(data->isMounted());
}

TEST_P(VolumeMountContract, LeavesABusyVolumeMountedAndSaysWhich) {
  const auto data = newVolume();
  ASSERT_TRUE(data->mountAtTemporaryPath({}, nullptr));
  world->holdBusy(_name);
  ErrorRef error;
  EXPECT_FALSE(data->unmount(kAll, &error));
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), EBUSY);
  EXPECT_NE(error->description().find(_name), std::string::npos) << error->description();
  EXPECT_TRUE(data->isMounted());
  EXPECT_NE(data->mountPoint(), std::nullopt);
}

TEST_P(VolumeMountContract, TakesABusyVolumeByForce) {
  const auto data = newVolume();
  ASSERT_TRUE(data->mountAtTemporaryPath({}, nullptr));
  world->holdBusy(_name);
  EXPECT_TRUE(data->unmount(kForceAll, nullptr));
  EXPECT_FALSE(data->isMounted());
}

}  // namespace

}  // namespace marrow
