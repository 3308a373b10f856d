#include "operations/unmount_container_operation.h"

#include "tests/operations/operation_test.h"

#include <gmock/gmock.h>
#include <string>

namespace marrow {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class MWUnmountContainerOperationTest : public OperationTest {
 protected:
  MWUnmountContainerOperationTest() : operation(create<MWUnmountContainerOperation>()) {}

  const ErrorRef failure = makeError("TestDomain", 7);
  const std::shared_ptr<MWUnmountContainerOperation> operation;
};

TEST_F(MWUnmountContainerOperationTest, GivesItsClassName) {
  EXPECT_EQ(operation->className(), "MWUnmountContainerOperation");
}

TEST_F(MWUnmountContainerOperationTest, ExpectsToTakeFiveSeconds) {
  EXPECT_EQ(operation->estimatedExecutionTime(), 5.0);
}

TEST_F(MWUnmountContainerOperationTest, HasNoProgressOfItsOwn) {
  EXPECT_EQ(operation->progress(), nullptr);
}

TEST_F(MWUnmountContainerOperationTest, SucceedsWithoutAnErrorWhenEveryStepSucceeds) {
  operation->start();
  EXPECT_TRUE(operation->success());
  EXPECT_FALSE(operation->error());
  EXPECT_TRUE(machine.log.texts(LogLevel::error).empty());
}

TEST_F(MWUnmountContainerOperationTest, LeavesNoVolumeOfTheContainerMounted) {
  operation->start();
  EXPECT_THAT(machine.partitions.mountedVolumes(), ElementsAre(kExternalVolume));
}

TEST_F(MWUnmountContainerOperationTest, LeavesMountsOfTheContainerRefused) {
  operation->start();
  EXPECT_TRUE(isRefusingMounts());
  EXPECT_TRUE(machine.arbitration.requestMount(kUpdateVolume));
  EXPECT_FALSE(machine.arbitration.requestMount(kExternalVolume));
}

TEST_F(MWUnmountContainerOperationTest, LeavesTheDataVolumesKeysLoaded) {
  operation->start();
  EXPECT_TRUE(machine.partitions.isUnlocked(kDataVolume));
}

TEST_F(MWUnmountContainerOperationTest, UsesOneOptionsMapForTheMountAndTheUnmount) {
  machine.partitions.unmountAll();
  operation->start();
  const std::string options =
      " {DVLoamVolumeMountOptionReadOnly=true, DVLoamVolumeUnmountOptionDoNotLock=true}";
  EXPECT_THAT(machine.journal.calls({"DVStaticLoamVolume.mountAt", "DVStaticLoamVolume.unmount"}),
              ElementsAre("DVStaticLoamVolume.mountAtTemporaryPath /dev/disk0s5" + options,
                          "DVStaticLoamVolume.unmount /dev/disk0s5" + options));
}

TEST_F(MWUnmountContainerOperationTest, RefusesMountsThenCachesKeysThenUnmountsTheContainer) {
  operation->start();
  const auto calls = machine.journal.calls(
      {"DASession.setQueue", "DVStaticLoamVolume.mountAt", "DVStaticLoamVolume.unmount"});
  ASSERT_EQ(calls.size(), 5U);
  EXPECT_THAT(calls[0], HasSubstr("DASession.setQueue"));
  EXPECT_THAT(calls[1], HasSubstr("mountAtTemporaryPath /dev/disk0s5"));
  EXPECT_THAT(calls[2], HasSubstr("unmount /dev/disk0s5"));
  EXPECT_THAT(calls[3], HasSubstr("unmount /dev/disk0s3"));
  EXPECT_THAT(calls[4], HasSubstr("unmount /dev/disk0s4"));
}

TEST_F(MWUnmountContainerOperationTest, WithoutADataVolumeItFailsWithoutAnErrorOfItsOwn) {
  machine.partitions.removeVolume(kDataVolume);
  EXPECT_FALSE(operation->execute());
  EXPECT_FALSE(operation->error());
  EXPECT_TRUE(hasLogged(LogLevel::error, "Unable to cache data volume keys. (null)"));
}

TEST_F(MWUnmountContainerOperationTest, WithoutADataVolumeItUnmountsNothingButRefusesMounts) {
  machine.partitions.removeVolume(kDataVolume);
  operation->start();
  EXPECT_FALSE(machine.journal.contains("DVStaticLoamVolume.unmount"));
  EXPECT_TRUE(machine.partitions.isMounted(kPrebootVolume));
  EXPECT_TRUE(isRefusingMounts());
}

TEST_F(MWUnmountContainerOperationTest, AFailureWithoutAnErrorGetsTheGeneralOne) {
  machine.partitions.removeVolume(kDataVolume);
  operation->start();
  expectError(operation->error(), "MWOperationErrorDomain", -1);
}

TEST_F(MWUnmountContainerOperationTest, AFailedMountOfTheDataVolumeIsItsErrorAndUnmountsNothing) {
  machine.faults.fail("DVStaticLoamVolume.mountAtTemporaryPath", failure);
  operation->start();
  EXPECT_FALSE(operation->success());
  EXPECT_EQ(operation->error(), failure);
  EXPECT_TRUE(hasLogged(LogLevel::error, "Unable to cache data volume keys. TestDomain code 7"));
  EXPECT_FALSE(machine.journal.contains("DVStaticLoamVolume.unmount"));
  EXPECT_TRUE(isRefusingMounts());
}

TEST_F(MWUnmountContainerOperationTest, AFailedUnmountOfTheDataVolumeIsItsError) {
  machine.faults.fail("DVStaticLoamVolume.unmount", failure).once();
  operation->start();
  EXPECT_FALSE(operation->success());
  EXPECT_EQ(operation->error(), failure);
  EXPECT_TRUE(hasLogged(LogLevel::error, "Unable to cache data volume keys. TestDomain code 7"));
  EXPECT_TRUE(machine.partitions.isMounted(kPrebootVolume));
  EXPECT_TRUE(isRefusingMounts());
}

TEST_F(MWUnmountContainerOperationTest,
       AVolumeThatStaysMountedIsItsErrorAfterAllOthersAreUnmounted) {
  machine.faults.fail("DVStaticLoamVolume.unmount", failure).when("/dev/disk0s3");
  operation->start();
  EXPECT_FALSE(operation->success());
  EXPECT_EQ(operation->error(), failure);
  EXPECT_TRUE(hasLogged(LogLevel::error, "Unable to take container offline. TestDomain code 7"));
  EXPECT_THAT(machine.partitions.mountedVolumes(), ElementsAre(kPrebootVolume, kExternalVolume));
  EXPECT_TRUE(isRefusingMounts());
}

TEST_F(MWUnmountContainerOperationTest, OfSeveralFailedUnmountsTheLastIsItsError) {
  machine.faults.fail("DVStaticLoamVolume.unmount", makeError("TestDomain", 1))
      .when("/dev/disk0s3");
  machine.faults.fail("DVStaticLoamVolume.unmount", failure).when("/dev/disk0s4");
  operation->start();
  EXPECT_EQ(operation->error(), failure);
}

TEST_F(MWUnmountContainerOperationTest, WhenRunAgainItSucceedsAndRefusesMountsOnce) {
  operation->start();
  operation->start();
  EXPECT_TRUE(operation->success());
  EXPECT_EQ(machine.arbitration.sessions(), 1U);
}

TEST_F(MWUnmountContainerOperationTest, WithoutADataSourceItFailsLikeAMachineWithoutADataVolume) {
  MWUnmountContainerOperation alone;
  EXPECT_FALSE(alone.execute());
  EXPECT_TRUE(hasLogged(LogLevel::error, "Unable to cache data volume keys. (null)"));
}

}  // namespace
}  // namespace marrow
