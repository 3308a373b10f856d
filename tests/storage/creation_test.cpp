#include "tests/storage/storage_test.h"

#include <cerrno>

namespace marrow {
namespace {

const std::string kUnknownGroup = "11111111-2222-4333-8444-555555555555";

class StorageControllerCreation : public StorageTest {
 protected:
  // The record of a creation that has to fail, and fails alike for a caller that wants no record.
  ErrorRef failedCreation() {
    EXPECT_EQ(MWStorageController::initWithError(services(), nullptr), nullptr);
    machine.journal.clear();
    ErrorRef error;
    EXPECT_EQ(MWStorageController::initWithError(services(), &error), nullptr);
    EXPECT_NE(error, nullptr);
    EXPECT_EQ(machine.registry.references(), 0);
    EXPECT_FALSE(machine.journal.contains("TaskQueues."));
    return error ? error : makeError("none", 0);
  }

  static void expectDescribed(const ErrorRecord& error, const std::string& domain, int code,
                              const std::string& description) {
    EXPECT_EQ(error.domain(), domain);
    EXPECT_EQ(error.code(), code);
    EXPECT_EQ(error.localizedDescription(), description);
    EXPECT_EQ(error.userInfo().size(), 1U);
  }
};

TEST_F(StorageControllerCreation, FindsTheBootedGroupAndItsContainer) {
  const auto controller = createController();
  EXPECT_EQ(controller->volumeGroupUUID(), kBootedGroup);
  EXPECT_EQ(controller->bootObjectsPath(), kBootObjectsPath);
  EXPECT_EQ(describe(controller->loamContainer()), node(kContainer));
}

TEST_F(StorageControllerCreation, GoesFromTheVariablesThroughTheRegistryToTheQueue) {
  const auto controller = MWStorageController::initWithError(services(), nullptr);
  ASSERT_NE(controller, nullptr);
  EXPECT_EQ(
      machine.journal.calls({"KernelVariables.", "DeviceRegistry.", "DVStaticMedia.", "TaskQueues.",
                             "DiskArbitration."}),
      (Texts{"KernelVariables.string kern.bootuuid", "KernelVariables.string kern.bootobjectspath",
             "DeviceRegistry.firstMatchingService CorvaneLoamVolume VolGroupUUID=" + kBootedGroup,
             "DeviceRegistry.parent disk0s4 IOService", "DeviceRegistry.release disk0s4",
             "DeviceRegistry.conformsTo disk0 CorvaneLoamMedia",
             "DeviceRegistry.property disk0 BSD Name", "DVStaticMedia.mediaForBSDName disk0",
             "DeviceRegistry.release disk0",
             "TaskQueues.createSerialQueue MWStorageController.DASession"}));
}

TEST_F(StorageControllerCreation, GivesEveryRegistryReferenceBack) {
  createController();
  EXPECT_EQ(machine.registry.references(), 0);
}

TEST_F(StorageControllerCreation, RefusesNoMountsYet) {
  const auto controller = createController();
  EXPECT_EQ(machine.arbitration.sessions(), 0U);
}

TEST_F(StorageControllerCreation, LogsNothing) {
  const auto controller = MWStorageController::initWithError(services(), nullptr);
  EXPECT_EQ(machine.log.texts(), Texts{});
}

TEST_F(StorageControllerCreation, LeavesTheSlotAloneWhenItSucceeds) {
  const ErrorRef before = makeError("before", 1);
  ErrorRef error = before;
  ASSERT_NE(MWStorageController::initWithError(services(), &error), nullptr);
  EXPECT_EQ(error, before);
}

TEST_F(StorageControllerCreation, FailsWithoutTheBootUUIDAndReadsNothingElse) {
  machine.kernelVariables.remove("kern.bootuuid");
  expectDescribed(*failedCreation(), kPOSIXErrorDomain, ENOENT,
                  "Unable to retrieve 'kern.bootuuid'");
  EXPECT_EQ(machine.journal.calls(), Texts{"KernelVariables.string kern.bootuuid"});
}

TEST_F(StorageControllerCreation, FailsWithoutTheBootObjectsPathAndTakesNoFurtherStep) {
  machine.kernelVariables.remove("kern.bootobjectspath");
  expectDescribed(*failedCreation(), kPOSIXErrorDomain, ENOENT,
                  "Unable to retrieve 'kern.bootobjectspath'");
  EXPECT_EQ(machine.journal.calls(), (Texts{"KernelVariables.string kern.bootuuid",
                                            "KernelVariables.string kern.bootobjectspath"}));
}

TEST_F(StorageControllerCreation, ReportsTheErrorNumberOfTheFailedRead) {
  machine.faults.fail("KernelVariables.string", EIO).when("kern.bootuuid");
  expectDescribed(*failedCreation(), kPOSIXErrorDomain, EIO, "Unable to retrieve 'kern.bootuuid'");
}

TEST_F(StorageControllerCreation, FailsWhenAVariableIsNotText) {
  machine.kernelVariables.set("kern.bootobjectspath", "\xff/boot");
  expectDescribed(*failedCreation(), kPOSIXErrorDomain, EILSEQ,
                  "Unable to retrieve 'kern.bootobjectspath'");
}

TEST_F(StorageControllerCreation, AcceptsAnEmptyBootObjectsPath) {
  machine.kernelVariables.set("kern.bootobjectspath", "");
  EXPECT_EQ(createController()->bootObjectsPath(), "");
}

TEST_F(StorageControllerCreation, FailsWhenNoVolumeIsOfTheBootedGroup) {
  machine.kernelVariables.set("kern.bootuuid", kUnknownGroup);
  expectDescribed(*failedCreation(), "MWStorageControllerErrorDomain", 1,
                  "Cannot find Loam container from volume-group: " + kUnknownGroup);
  EXPECT_FALSE(machine.journal.contains("DVStaticMedia."));
}

TEST_F(StorageControllerCreation, FailsWhenTheBootedGroupIsEmpty) {
  machine.kernelVariables.set("kern.bootuuid", "");
  expectDescribed(*failedCreation(), "MWStorageControllerErrorDomain", 1,
                  "Cannot find Loam container from volume-group: ");
}

TEST_F(StorageControllerCreation, FailsWhenTheGroupIsWrittenInAnotherCase) {
  machine.kernelVariables.set("kern.bootuuid", "6b29fc40-ca47-4067-b31d-00dd010662da");
  expectDescribed(
      *failedCreation(), "MWStorageControllerErrorDomain", 1,
      "Cannot find Loam container from volume-group: 6b29fc40-ca47-4067-b31d-00dd010662da");
}

TEST_F(StorageControllerCreation, KeepsWhatItsSettersAreGiven) {
  const auto controller = createController();
  controller->setVolumeGroupUUID(kOtherGroup);
  controller->setBootObjectsPath("elsewhere");
  const auto external = machine.partitions.mediaForBSDName(kExternalDisk)->asContainer();
  controller->setLoamContainer(external);
  EXPECT_EQ(controller->volumeGroupUUID(), kOtherGroup);
  EXPECT_EQ(controller->bootObjectsPath(), "elsewhere");
  EXPECT_EQ(controller->loamContainer(), external);
}

}  // namespace
}  // namespace marrow
