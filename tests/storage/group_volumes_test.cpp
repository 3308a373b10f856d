#include "tests/storage/storage_test.h"

namespace marrow {
namespace {

class GroupVolumes : public StorageTest {};

TEST_F(GroupVolumes, SystemVolumeIsTheBootedGroupsAlthoughAnotherGroupsComesFirst) {
  EXPECT_EQ(describe(createController()->systemVolume()), node(kSystemVolume));
}

TEST_F(GroupVolumes, SystemVolumeIsTheBootedGroupsAlthoughAnotherGroupsComesLast) {
  const auto controller = createController();
  machine.partitions.removeVolume(kOtherSystemVolume);
  machine.partitions.addVolume(kContainer, {"disk0s8", VolumeRole::system, kOtherGroup});
  EXPECT_EQ(describe(controller->systemVolume()), node(kSystemVolume));
}

TEST_F(GroupVolumes, DataVolumeIsTheBootedGroups) {
  const auto controller = createController();
  EXPECT_EQ(describe(controller->dataVolume()), node(kDataVolume));
  EXPECT_EQ(controller->dataVolumeDevNode(), node(kDataVolume));
}

TEST_F(GroupVolumes, OfTwoThatFitTheFirstIsTaken) {
  const auto controller = createController();
  machine.partitions.addVolume(kContainer, {"disk0s8", VolumeRole::data, kBootedGroup});
  EXPECT_EQ(controller->dataVolumeDevNode(), node(kDataVolume));
}

TEST_F(GroupVolumes, AContainerWithoutTheGroupsDataVolumeHasNoneAndNothingIsLogged) {
  const auto controller = createController();
  machine.partitions.removeVolume(kDataVolume);
  EXPECT_EQ(controller->dataVolume(), nullptr);
  EXPECT_EQ(controller->dataVolumeDevNode(), std::nullopt);
  EXPECT_EQ(logged(), Texts{});
}

TEST_F(GroupVolumes, AContainerWithoutTheGroupsSystemVolumeHasNone) {
  const auto controller = createController();
  machine.partitions.removeVolume(kSystemVolume);
  EXPECT_EQ(controller->systemVolume(), nullptr);
  EXPECT_EQ(logged(), Texts{});
}

TEST_F(GroupVolumes, AreComparedByTheExactTextOfTheGroup) {
  const auto controller = createController();
  controller->setVolumeGroupUUID("6b29fc40-ca47-4067-b31d-00dd010662da");
  EXPECT_EQ(controller->systemVolume(), nullptr);
  EXPECT_EQ(controller->dataVolume(), nullptr);
}

TEST_F(GroupVolumes, AreLookedUpAnewAtEachCall) {
  const auto controller = createController();
  EXPECT_EQ(controller->dataVolumeDevNode(), node(kDataVolume));
  machine.partitions.removeVolume(kDataVolume);
  machine.partitions.addVolume(kContainer, {"disk0s8", VolumeRole::data, kBootedGroup});
  EXPECT_EQ(controller->dataVolumeDevNode(), node("disk0s8"));
}

TEST_F(GroupVolumes, FollowTheGroupThatIsSet) {
  const auto controller = createController();
  controller->setVolumeGroupUUID(kOtherGroup);
  EXPECT_EQ(describe(controller->systemVolume()), node(kOtherSystemVolume));
  EXPECT_EQ(controller->dataVolumeDevNode(), node(kOtherDataVolume));
}

TEST_F(GroupVolumes, AreAskedForByTheirRoleCodes) {
  const auto controller = createController();
  controller->systemVolume();
  controller->dataVolume();
  EXPECT_EQ(machine.journal.calls("DVStaticLoamContainer.volumesWithRole"),
            (Texts{"DVStaticLoamContainer.volumesWithRole /dev/disk0 1",
                   "DVStaticLoamContainer.volumesWithRole /dev/disk0 3"}));
}

}  // namespace
}  // namespace marrow
