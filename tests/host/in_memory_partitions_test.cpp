#include "tests/host/in_memory_host.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace marrow {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const VolumeOptions kReadOnlyAndOpen = {{DVLoamVolumeMountOptionReadOnly, true},
                                        {DVLoamVolumeUnmountOptionDoNotLock, true}};
const VolumeOptions kForceAll = {{DVLoamVolumeUnmountOptionForce, true},
                                 {DVLoamVolumeUnmountOptionAll, true}};

class PartitionsTest : public testing::Test {
 protected:
  std::shared_ptr<DVStaticLoamVolume> volume(const std::string& name) {
    return partitions.mediaForBSDName(name)->asVolume();
  }
  std::shared_ptr<DVStaticLoamContainer> container(const std::string& name) {
    return partitions.mediaForBSDName(name)->asContainer();
  }

  static std::vector<std::string> nodesOf(
      const std::vector<std::shared_ptr<DVStaticLoamVolume>>& volumes) {
    std::vector<std::string> nodes;
    for (const auto& each : volumes) {
      nodes.push_back(each->deviceNode());
    }
    return nodes;
  }

  InMemoryHost machine;
  InMemoryPartitions& partitions = machine.partitions;
  ErrorRef error;
};

TEST_F(PartitionsTest, MediaIsFoundByNameByNodeAndByEntry) {
  EXPECT_EQ(container("disk0")->description(), "/dev/disk0");
  EXPECT_EQ(volume("/dev/disk0s5")->description(), "/dev/disk0s5");
  EXPECT_EQ(partitions.mediaForBSDName("disk9"), nullptr);
  const auto plain = partitions.mediaForBSDName(kPlainDisk);
  ASSERT_TRUE(plain);
  EXPECT_FALSE(plain->asContainer() || plain->asVolume());
  const RegistryEntry entry = volume(kDataVolume)->mediaEntry();
  EXPECT_EQ(partitions.mediaForRegistryEntry(entry.handle())->description(), "/dev/disk0s5");
}

TEST_F(PartitionsTest, AContainerListsItsVolumesInOrderAndByRole) {
  const auto disk = container(kContainer);
  EXPECT_EQ(disk->volumes().size(), 7U);
  EXPECT_THAT(nodesOf(disk->volumesWithRole(kSystemVolumeRole)),
              ElementsAre("/dev/disk0s1", "/dev/disk0s4"));
  EXPECT_THAT(nodesOf(disk->volumesWithRole(kDataVolumeRole)),
              ElementsAre("/dev/disk0s2", "/dev/disk0s5"));
  EXPECT_THAT(disk->volumesWithRole(2), IsEmpty());
  EXPECT_EQ(disk->prebootVolume()->deviceNode(), "/dev/disk0s3");
  EXPECT_EQ(disk->recoveryVolume()->deviceNode(), "/dev/disk0s6");
  EXPECT_EQ(disk->updateVolume()->deviceNode(), "/dev/disk0s7");
}

TEST_F(PartitionsTest, ContainersAreEqualWhenTheyAreTheSameDisk) {
  EXPECT_TRUE(volume(kDataVolume)->container()->isEqual(*container(kContainer)));
  EXPECT_FALSE(volume(kExternalVolume)->container()->isEqual(*container(kContainer)));
}

TEST_F(PartitionsTest, AVolumeAppearsWhereItIsMounted) {
  const auto path = volume(kUpdateVolume)->mountAtTemporaryPath({}, &error);
  EXPECT_EQ(path, "/run/marrow/mnt/disk0s7-1");
  EXPECT_TRUE(machine.fileSystem.dictionary(*path + "/nvram.plist"));
  EXPECT_EQ(volume(kUpdateVolume)->mountPoint(), path);
  EXPECT_TRUE(volume(kUpdateVolume)->unmount({}, &error));
  EXPECT_FALSE(machine.fileSystem.exists(*path));
  EXPECT_FALSE(volume(kUpdateVolume)->isMounted());
}

TEST_F(PartitionsTest, AReadOnlyMountIsNoMountPoint) {
  EXPECT_TRUE(volume(kDataVolume)->mountAtTemporaryPath(kReadOnlyAndOpen, &error));
  EXPECT_TRUE(volume(kDataVolume)->isMounted());
  EXPECT_FALSE(volume(kDataVolume)->mountPoint());
}

TEST_F(PartitionsTest, AnUnmountLocksTheVolumeUnlessToldNotTo) {
  EXPECT_FALSE(partitions.isUnlocked(kDataVolume));
  volume(kDataVolume)->mountAtTemporaryPath(kReadOnlyAndOpen, &error);
  volume(kDataVolume)->unmount(kReadOnlyAndOpen, &error);
  EXPECT_TRUE(partitions.isUnlocked(kDataVolume));
  volume(kDataVolume)->mountAtTemporaryPath({}, &error);
  volume(kDataVolume)->unmount({}, &error);
  EXPECT_FALSE(partitions.isUnlocked(kDataVolume));
}

TEST_F(PartitionsTest, OnlyAnUnmountOfAllTakesTheMountsOfOthers) {
  volume(kPrebootVolume)->mountAtTemporaryPath({}, &error);
  EXPECT_TRUE(volume(kPrebootVolume)->unmount({}, &error));
  EXPECT_THAT(partitions.mountPaths(kPrebootVolume), ElementsAre("/Volumes/preboot"));
  EXPECT_FALSE(volume(kPrebootVolume)->unmount({}, &error));
  EXPECT_EQ(error->code(), EBUSY);
  EXPECT_TRUE(volume(kPrebootVolume)->unmount(kForceAll, &error));
  EXPECT_FALSE(volume(kPrebootVolume)->isMounted());
}

TEST_F(PartitionsTest, ABusyVolumeIsUnmountedByForceAlone) {
  partitions.holdBusy(kPrebootVolume);
  EXPECT_FALSE(volume(kPrebootVolume)->unmount({{DVLoamVolumeUnmountOptionAll, true}}, &error));
  EXPECT_EQ(error->code(), EBUSY);
  EXPECT_TRUE(volume(kPrebootVolume)->unmount(kForceAll, &error));
}

TEST_F(PartitionsTest, WhatCannotBeEndedKeepsTheVolumeMounted) {
  partitions.holdBusy(kPrebootVolume, false);
  EXPECT_FALSE(volume(kPrebootVolume)->unmount(kForceAll, &error));
  EXPECT_TRUE(volume(kPrebootVolume)->isMounted());
}

TEST_F(PartitionsTest, ADescriptorOfTheDaemonKeepsTheVolumeMounted) {
  const int descriptor = machine.files.open("/Volumes/preboot", OpenFlags::readOnly);
  EXPECT_FALSE(volume(kPrebootVolume)->unmount(kForceAll, &error));
  machine.files.close(descriptor);
  EXPECT_TRUE(volume(kPrebootVolume)->unmount(kForceAll, &error));
}

TEST_F(PartitionsTest, AVolumeMountedElsewhereHasNoMountPoint) {
  partitions.setMountedElsewhere(kRecoveryVolume, true);
  EXPECT_TRUE(volume(kRecoveryVolume)->isMounted());
  EXPECT_FALSE(volume(kRecoveryVolume)->mountPoint());
}

TEST_F(PartitionsTest, AnObjectWhoseVolumeHasGoneSaysSo) {
  const auto gone = volume(kUpdateVolume);
  partitions.removeVolume(kUpdateVolume);
  EXPECT_FALSE(gone->mountAtTemporaryPath({}, &error));
  EXPECT_EQ(error->code(), ENOENT);
  EXPECT_FALSE(gone->mediaEntry());
  EXPECT_EQ(gone->container(), nullptr);
  EXPECT_EQ(container(kContainer)->updateVolume(), nullptr);
}

TEST_F(PartitionsTest, AFailedMountLeavesNothingMounted) {
  machine.faults.fail("DVStaticLoamVolume.mountAtTemporaryPath", EIO).when("disk0s7");
  EXPECT_FALSE(volume(kUpdateVolume)->mountAtTemporaryPath({}, &error));
  EXPECT_EQ(error->description(),
            "POSIXErrorDomain code " + std::to_string(EIO) + ": Cannot mount /dev/disk0s7");
  EXPECT_FALSE(volume(kUpdateVolume)->isMounted());
}

TEST_F(PartitionsTest, TheJournalHasTheOptions) {
  volume(kPrebootVolume)->unmount(kForceAll, &error);
  EXPECT_THAT(machine.journal.calls("DVStaticLoamVolume.unmount"),
              ElementsAre("DVStaticLoamVolume.unmount /dev/disk0s3 "
                          "{DVLoamVolumeUnmountOptionAll=true, "
                          "DVLoamVolumeUnmountOptionForce=true}"));
}

TEST_F(PartitionsTest, AVolumeKeepsItsFilesWhileItIsNotMounted) {
  machine.fileSystem.write("/Volumes/preboot/file", "text");
  partitions.unmount(kPrebootVolume);
  EXPECT_FALSE(machine.fileSystem.exists("/Volumes/preboot/file"));
  EXPECT_EQ(machine.fileSystem.contents("/@disk0s3/file"), "text");
}

}  // namespace
}  // namespace marrow
