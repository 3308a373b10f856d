#include "tests/contract/disk/disk_world.h"

namespace marrow {

namespace {

using DeviceRegistryContract = DiskContract;
INSTANTIATE_TEST_SUITE_P(Worlds, DeviceRegistryContract, bothDiskWorlds(), nameOfDiskWorld);

TEST_P(DeviceRegistryContract, FindsAVolumeOfTheGroup) {
  const auto group = world->newGroup();
  const auto disk = world->addContainer({{WorldRole::preboot}, {WorldRole::system, group}});
  const auto entry = firstVolumeOf(group);
  ASSERT_TRUE(entry);
  EXPECT_EQ(text(entry, "BSD Name"), world->volumeName(disk, 1));
  EXPECT_EQ(text(entry, "VolGroupUUID"), group);
  EXPECT_TRUE(world->registry().conformsTo(entry.handle(), "CorvaneLoamVolume"));
  EXPECT_FALSE(world->registry().conformsTo(entry.handle(), "CorvaneLoamMedia"));
}

TEST_P(DeviceRegistryContract, FindsNothingForAnUnknownOrAnEmptyGroup) {
  world->addContainer({{WorldRole::preboot}});
  EXPECT_FALSE(firstVolumeOf(world->newGroup()));
  EXPECT_FALSE(firstVolumeOf(""));
}

TEST_P(DeviceRegistryContract, FindsNothingOfAnUnknownClass) {
  const auto group = world->newGroup();
  world->addContainer({{WorldRole::system, group}});
  PropertyListDictionary properties;
  properties.set("VolGroupUUID", group);
  EXPECT_EQ(world->registry().firstMatchingService({"NoSuchClass", properties}), kNoRegistryHandle);
}

TEST_P(DeviceRegistryContract, ComparesTheGroupExactly) {
  const std::string upper = "ABCDEF00" + world->newGroup().substr(8);
  std::string lower = upper;
  lower.replace(0, 6, "abcdef");
  world->addContainer({{WorldRole::system, upper}});
  EXPECT_TRUE(firstVolumeOf(upper));
  EXPECT_FALSE(firstVolumeOf(lower));
}

TEST_P(DeviceRegistryContract, TakesTheDiskThatCameFirst) {
  const auto group = world->newGroup();
  const auto first = world->addContainer({{WorldRole::system, group}});
  world->addContainer({{WorldRole::system, group}});
  EXPECT_EQ(text(firstVolumeOf(group), "BSD Name"), world->volumeName(first, 0));
}

TEST_P(DeviceRegistryContract, LeadsFromAVolumeUpToItsContainersMedia) {
  const auto group = world->newGroup();
  const auto disk = world->addContainer({{WorldRole::data, group}});
  const auto entry = firstVolumeOf(group);
  const RegistryEntry parent{world->registry(),
                             world->registry().parent(entry.handle(), "IOService")};
  ASSERT_TRUE(parent);
  EXPECT_TRUE(world->registry().conformsTo(parent.handle(), "CorvaneLoamMedia"));
  EXPECT_EQ(text(parent, "BSD Name"), disk);
  EXPECT_EQ(text(parent, "VolGroupUUID"), "(absent)");
}

TEST_P(DeviceRegistryContract, EndsAtARootWithoutAParent) {
  const auto group = world->newGroup();
  world->addContainer({{WorldRole::data, group}});
  auto entry = firstVolumeOf(group);
  int steps = 0;
  while (RegistryEntry parent{world->registry(),
                              world->registry().parent(entry.handle(), "IOService")}) {
    entry = std::move(parent);
    ASSERT_LT(++steps, 64);
  }
  EXPECT_GE(steps, 1);
}

TEST_P(DeviceRegistryContract, HasNoMediaForADiskWithoutVolumes) {
  const auto disk = world->addPlainDisk();
  PropertyListDictionary properties;
  properties.set("BSD Name", disk);
  EXPECT_EQ(world->registry().firstMatchingService({"CorvaneLoamMedia", properties}),
            kNoRegistryHandle);
}

TEST_P(DeviceRegistryContract, IsQuietWhenNothingIsPending) {
  const auto group = world->newGroup();
  world->addContainer({{WorldRole::data, group}});
  const auto entry = firstVolumeOf(group);
  world->registry().waitQuiet(entry.handle());
}

TEST_P(DeviceRegistryContract, KeepsAnEntryUntilItsLastReferenceIsGivenBack) {
  const auto group = world->newGroup();
  world->addContainer({{WorldRole::data, group}});
  auto entry = firstVolumeOf(group);
  world->registry().retain(entry.handle());
  const RegistryEntry second{world->registry(), entry.handle()};
  entry = RegistryEntry();
  EXPECT_EQ(text(second, "VolGroupUUID"), group);
}

TEST_P(DeviceRegistryContract, TakesNoEntryForAnAnswer) {
  auto& registry = world->registry();
  EXPECT_EQ(registry.parent(kNoRegistryHandle, "IOService"), kNoRegistryHandle);
  EXPECT_FALSE(registry.conformsTo(kNoRegistryHandle, "CorvaneLoamMedia"));
  EXPECT_FALSE(registry.property(kNoRegistryHandle, "BSD Name"));
  registry.release(kNoRegistryHandle);
}

TEST_P(DeviceRegistryContract, HasNoEntryForAnUnknownPath) {
  EXPECT_EQ(world->registry().entryFromPath("IODeviceTree:/no/such/node"), kNoRegistryHandle);
}

}  // namespace

}  // namespace marrow
