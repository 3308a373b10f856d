#include "tests/contract/disk/disk_world.h"

namespace marrow {

namespace {

using DeviceNamesContract = DiskContract;
INSTANTIATE_TEST_SUITE_P(Worlds, DeviceNamesContract, bothDiskWorlds(), nameOfDiskWorld);

TEST_P(DeviceNamesContract, NamesADeviceThatHasTheNumber) {
  const auto disk = world->addContainer({{WorldRole::preboot}});
  const auto volume = world->volumeName(disk, 0);
  const auto number = world->deviceNumber(volume);
  const auto name = world->names().characterDeviceName(number);
  ASSERT_TRUE(name);
  EXPECT_TRUE(name->ends_with(volume)) << *name;
}

TEST_P(DeviceNamesContract, NamesNoDeviceForAnUnknownNumber) {
  EXPECT_EQ(world->names().characterDeviceName(0xFFFFFF), std::nullopt);
}

}  // namespace

}  // namespace marrow
