#include "tests/contract/disk/disk_world.h"

namespace marrow {

namespace {

using PartitionLibraryContract = DiskContract;
INSTANTIATE_TEST_SUITE_P(Worlds, PartitionLibraryContract, bothDiskWorlds(), nameOfDiskWorld);

TEST_P(PartitionLibraryContract, GivesTheMediaOfTheRightKind) {
  const auto disk = world->addContainer({{WorldRole::preboot}});
  const auto plain = world->addPlainDisk();
  ASSERT_NE(container(disk), nullptr);
  EXPECT_EQ(container(disk)->asVolume(), nullptr);
  ASSERT_NE(volume(disk, 0), nullptr);
  EXPECT_EQ(volume(disk, 0)->asContainer(), nullptr);
  const auto other = world->media().mediaForBSDName(plain);
  ASSERT_NE(other, nullptr);
  EXPECT_EQ(other->asContainer(), nullptr);
  EXPECT_EQ(other->asVolume(), nullptr);
}

TEST_P(PartitionLibraryContract, KnowsMediaByNodeAsWellAsByName) {
  const auto disk = world->addContainer({{WorldRole::preboot}});
  EXPECT_NE(container("/dev/" + disk), nullptr);
  EXPECT_EQ(world->media().mediaForBSDName("nosuchdisk"), nullptr);
  EXPECT_EQ(world->media().mediaForBSDName("/dev/nosuchdisk"), nullptr);
  EXPECT_EQ(world->media().mediaForBSDName(""), nullptr);
}

TEST_P(PartitionLibraryContract, DescribesMediaByTheirNodes) {
  const auto disk = world->addContainer({{WorldRole::preboot}});
  EXPECT_EQ(container(disk)->description(), "/dev/" + disk);
  EXPECT_EQ(volume(disk, 0)->description(), "/dev/" + world->volumeName(disk, 0));
  EXPECT_EQ(volume(disk, 0)->deviceNode(), "/dev/" + world->volumeName(disk, 0));
}

TEST_P(PartitionLibraryContract, ListsVolumesInOrder) {
  const auto group = world->newGroup();
  const auto disk = world->addContainer({{WorldRole::update},
                                         {WorldRole::data, group},
                                         {WorldRole::preboot},
                                         {WorldRole::system, group}});
  const auto volumes = container(disk)->volumes();
  ASSERT_EQ(volumes.size(), 4U);
  for (std::size_t index = 0; index < volumes.size(); ++index) {
    EXPECT_EQ(volumes[index]->description(), "/dev/" + world->volumeName(disk, index));
  }
}

TEST_P(PartitionLibraryContract, FindsVolumesByRoleCode) {
  const auto group = world->newGroup();
  const auto other = world->newGroup();
  const auto disk = world->addContainer({{WorldRole::data, other},
                                         {WorldRole::system, group},
                                         {WorldRole::preboot},
                                         {WorldRole::data, group}});
  const auto data = container(disk)->volumesWithRole(kDataVolumeRole);
  ASSERT_EQ(data.size(), 2U);
  EXPECT_EQ(data[0]->volumeGroupUUID(), other);
  EXPECT_EQ(data[1]->volumeGroupUUID(), group);
  EXPECT_EQ(container(disk)->volumesWithRole(kSystemVolumeRole).size(), 1U);
  EXPECT_TRUE(container(disk)->volumesWithRole(0).empty());
  EXPECT_TRUE(container(disk)->volumesWithRole(2).empty());
}

TEST_P(PartitionLibraryContract, TakesTheFirstVolumeOfANamedRole) {
  const auto disk = world->addContainer({{WorldRole::system, world->newGroup()},
                                         {WorldRole::recovery},
                                         {WorldRole::recovery},
                                         {WorldRole::update}});
  EXPECT_EQ(container(disk)->recoveryVolume()->description(), "/dev/" + world->volumeName(disk, 1));
  EXPECT_EQ(container(disk)->updateVolume()->description(), "/dev/" + world->volumeName(disk, 3));
  EXPECT_EQ(container(disk)->prebootVolume(), nullptr);
}

TEST_P(PartitionLibraryContract, HasNoGroupForVolumesOfTheContainer) {
  const auto disk = world->addContainer({{WorldRole::preboot}});
  EXPECT_EQ(volume(disk, 0)->volumeGroupUUID(), "");
}

TEST_P(PartitionLibraryContract, ComparesContainersByWhatTheyAre) {
  const auto disk = world->addContainer({{WorldRole::preboot}});
  const auto other = world->addContainer({{WorldRole::preboot}});
  EXPECT_TRUE(container(disk)->isEqual(*container(disk)));
  EXPECT_TRUE(volume(disk, 0)->container()->isEqual(*container(disk)));
  EXPECT_FALSE(container(disk)->isEqual(*container(other)));
}

TEST_P(PartitionLibraryContract, LeadsFromAVolumeToItsEntryAndBack) {
  const auto group = world->newGroup();
  const auto disk = world->addContainer({{WorldRole::data, group}});
  const auto entry = volume(disk, 0)->mediaEntry();
  ASSERT_TRUE(entry);
  EXPECT_EQ(text(entry, "VolGroupUUID"), group);
  const auto media = world->media().mediaForRegistryEntry(entry.handle());
  ASSERT_NE(media, nullptr);
  ASSERT_NE(media->asVolume(), nullptr);
  EXPECT_EQ(media->description(), volume(disk, 0)->description());
}

TEST_P(PartitionLibraryContract, HasNoMediaForNoEntry) {
  EXPECT_EQ(world->media().mediaForRegistryEntry(kNoRegistryHandle), nullptr);
}

}  // namespace

}  // namespace marrow
