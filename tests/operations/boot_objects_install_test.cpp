#include "tests/operations/boot_objects_test.h"

#include <gmock/gmock.h>

namespace marrow {
namespace {

using testing::Contains;
using testing::IsEmpty;

using InstallBootObjectsTest = BootObjectsTest;

TEST_F(InstallBootObjectsTest, WithoutAProposedImageItSaysSoAndGoesOn) {
  machine.fileSystem.remove(preboot + "/morrel1/proposed");
  operation->start();
  EXPECT_TRUE(operation->success());
  EXPECT_TRUE(hasLogged(
      LogLevel::info, "Skipping " + preboot + "/morrel1/proposed: No such file or directory (2)"));
  EXPECT_EQ(contents(preboot + "/morrel1/current/image"), "old image");
  EXPECT_EQ(contents(preboot + "/restore/manifest"), "new manifest");
}

TEST_F(InstallBootObjectsTest, WithNothingStagedItSucceedsWithoutTouchingATree) {
  machine.fileSystem.remove(preboot + "/morrel1/proposed");
  machine.fileSystem.remove(preboot + "/restore-staged");
  machine.fileSystem.remove(groupImage + ".staged");
  machine.fileSystem.remove(bootImage + ".staged");
  operation->start();
  EXPECT_TRUE(operation->success());
  EXPECT_FALSE(machine.journal.contains("FileTrees."));
}

TEST_F(InstallBootObjectsTest, AnExistenceTestThatFailsForAnyReasonSkips) {
  machine.faults.fail("Files.exists", EACCES).when("restore-staged");
  operation->start();
  EXPECT_TRUE(operation->success());
  EXPECT_TRUE(
      hasLogged(LogLevel::info, "Skipping " + preboot + "/restore-staged: Permission denied (13)"));
  EXPECT_EQ(contents(preboot + "/restore/manifest"), "old manifest");
}

TEST_F(InstallBootObjectsTest, AStagedDirectoryWithoutALiveOneIsRenamedAndNothingRemoved) {
  machine.fileSystem.remove(preboot + "/restore");
  operation->start();
  EXPECT_TRUE(operation->success());
  EXPECT_EQ(contents(preboot + "/restore/manifest"), "new manifest");
  EXPECT_TRUE(hasLogged(LogLevel::info,
                        "Renaming " + preboot + "/restore-staged -> " + preboot + "/restore"));
  EXPECT_FALSE(
      machine.journal.contains("FileTrees.removeRecursively " + preboot + "/restore-staged"));
}

TEST_F(InstallBootObjectsTest, AnImageStagedOnlyInTheBootObjectsFolderIsMovedThere) {
  machine.fileSystem.remove(groupImage + ".staged");
  operation->start();
  EXPECT_TRUE(operation->success());
  EXPECT_TRUE(hasLogged(LogLevel::info,
                        "Skipping " + groupImage + ".staged: No such file or directory (2)"));
  EXPECT_EQ(contents(groupImage), "old image");
  EXPECT_EQ(contents(bootImage), "new image");
}

TEST_F(InstallBootObjectsTest, AStagedFileIsRenamedOverTheLiveOne) {
  operation->start();
  EXPECT_EQ(machine.journal.count("FileTrees.rename"), 2U);
  EXPECT_FALSE(machine.journal.contains("FileTrees.swap " + groupImage));
}

TEST_F(InstallBootObjectsTest, AStagedLinkIsNotFollowed) {
  machine.fileSystem.remove(groupImage + ".staged");
  machine.fileSystem.makeLink(groupImage + ".staged", "/nowhere");
  operation->start();
  EXPECT_TRUE(operation->success());
  EXPECT_TRUE(hasLogged(LogLevel::info, "Renaming " + groupImage + ".staged -> " + groupImage));
}

TEST_F(InstallBootObjectsTest, AFailedRemovalOfTheOldTreeIsNotFatalAndNotTold) {
  machine.faults.fail("FileTrees.removeRecursively", EIO);
  operation->start();
  EXPECT_TRUE(operation->success());
  EXPECT_FALSE(operation->error());
  EXPECT_EQ(contents(preboot + "/morrel1/current/image"), "new image");
  EXPECT_EQ(contents(preboot + "/morrel1/proposed/image"), "old image");
  EXPECT_THAT(machine.log.texts(LogLevel::error), IsEmpty());
}

TEST_F(InstallBootObjectsTest, AFailedSwapOfTheImageIsCodeOneHundredAndStopsThere) {
  machine.faults.fail("FileTrees.swap", EINVAL).when("morrel1");
  operation->start();
  expectInstallError(
      100, EINVAL,
      "swapping " + preboot + "/morrel1/proposed -> " + preboot + "/morrel1/current failed");
  EXPECT_FALSE(machine.journal.contains("Files.exists " + preboot + "/restore-staged"));
}

TEST_F(InstallBootObjectsTest, AFailedSwapLeavesEverythingAsItWas) {
  const auto before = machine.fileSystem.tree("/@disk0s3");
  machine.faults.fail("FileTrees.swap", EINVAL);
  operation->start();
  EXPECT_EQ(machine.fileSystem.tree("/@disk0s3"), before);
  EXPECT_EQ(contents(preboot + "/morrel1/current/image"), "old image");
  EXPECT_EQ(contents(preboot + "/morrel1/proposed/image"), "new image");
  EXPECT_FALSE(machine.journal.contains("FileTrees.removeRecursively"));
}

TEST_F(InstallBootObjectsTest, AFailedRenameOfTheImageIsCodeOneHundred) {
  machine.fileSystem.remove(preboot + "/morrel1/current");
  machine.faults.fail("FileTrees.rename", EROFS).when("morrel1");
  operation->start();
  expectInstallError(
      100, EROFS,
      "renaming " + preboot + "/morrel1/proposed -> " + preboot + "/morrel1/current failed");
}

TEST_F(InstallBootObjectsTest, AFailedSwapOfTheRestoreTreeIsCodeOneHundredAndOne) {
  machine.faults.fail("FileTrees.swap", ENOSPC).when("restore-staged");
  operation->start();
  expectInstallError(101, ENOSPC,
                     "swapping " + preboot + "/restore-staged -> " + preboot + "/restore failed");
  EXPECT_EQ(contents(preboot + "/morrel1/current/image"), "new image");
  EXPECT_FALSE(machine.journal.contains("Files.exists " + groupImage));
}

TEST_F(InstallBootObjectsTest, AFailedRenameOfTheRestoreTreeIsCodeOneHundredAndOne) {
  machine.fileSystem.remove(preboot + "/restore");
  machine.faults.fail("FileTrees.rename", EIO).when("restore-staged");
  operation->start();
  expectInstallError(101, EIO,
                     "renaming " + preboot + "/restore-staged -> " + preboot + "/restore failed");
}

TEST_F(InstallBootObjectsTest, AFailedRenameInTheGroupFolderLeavesTheBootObjectsFolderUntouched) {
  machine.faults.fail("FileTrees.rename", EIO).when(groupImage);
  operation->start();
  expectInstallError(102, EIO, "renaming " + groupImage + ".staged -> " + groupImage + " failed");
  EXPECT_EQ(contents(bootImage), "old image");
  EXPECT_EQ(contents(bootImage + ".staged"), "new image");
  EXPECT_FALSE(machine.journal.contains("Files.exists " + bootImage));
}

TEST_F(InstallBootObjectsTest, AFailedRenameInTheBootObjectsFolderIsCodeOneHundredAndTwo) {
  machine.faults.fail("FileTrees.rename", EIO).when(bootImage);
  operation->start();
  expectInstallError(102, EIO, "renaming " + bootImage + ".staged -> " + bootImage + " failed");
  EXPECT_EQ(contents(groupImage), "new image");
}

TEST_F(InstallBootObjectsTest, AFailedInstallationIsNeitherRecordedNorFlushed) {
  machine.faults.fail("FileTrees.rename", EIO).when(bootImage);
  operation->start();
  EXPECT_EQ(contents(preboot + "/boot/active"), "OLD");
  EXPECT_FALSE(machine.journal.contains("Files.fullSync"));
}

TEST_F(InstallBootObjectsTest, ADestinationOfAFileIsNotTestedForExistence) {
  operation->_installPath(groupImage + ".staged", groupImage, false, 7);
  EXPECT_EQ(machine.journal.count("Files.exists"), 1U);
}

TEST_F(InstallBootObjectsTest, TheGivenCodeIsTheErrorsCode) {
  machine.faults.fail("FileTrees.rename", EIO);
  EXPECT_FALSE(operation->_installPath(groupImage + ".staged", groupImage, false, 7));
  expectError(operation->error(), "MWCommitBootObjectsOperationErrorDomain", 7);
}

// ---- Reruns

TEST_F(InstallBootObjectsTest, ARerunAfterASuccessSkipsEverything) {
  ASSERT_TRUE(runAnew());
  const auto preceding = machine.fileSystem.tree("/@disk0s3");
  forgetTheStart();
  EXPECT_TRUE(runAnew());
  EXPECT_FALSE(machine.journal.contains("FileTrees."));
  EXPECT_EQ(machine.fileSystem.tree("/@disk0s3"), preceding);
  EXPECT_EQ(contents(groupImage), "new image");
}

TEST_F(InstallBootObjectsTest, ARerunAfterAPartialSuccessSkipsWhatIsInstalled) {
  machine.faults.fail("FileTrees.rename", EIO).when(groupImage).once();
  ASSERT_FALSE(runAnew());
  forgetTheStart();
  EXPECT_TRUE(runAnew());
  EXPECT_FALSE(machine.journal.contains("FileTrees.swap"));
  EXPECT_EQ(machine.journal.count("FileTrees.rename"), 2U);
  EXPECT_THAT(operationsLog(),
              Contains("Skipping " + preboot + "/morrel1/proposed: No such file or directory (2)"));
}

TEST_F(InstallBootObjectsTest, ARerunThatSucceedsKeepsTheErrorOfTheSameObject) {
  machine.faults.fail("FileTrees.swap", EIO).once();
  operation->start();
  const ErrorRef error = operation->error();
  operation->start();
  EXPECT_TRUE(operation->success());
  EXPECT_EQ(operation->error(), error);
}

// Every call that installs fails once; a rerun must leave the machine as an undisturbed run does.
class RerunAfterAFailureTest : public BootObjectsTest,
                               public testing::WithParamInterface<std::string> {
 protected:
  void expectInstalled() {
    EXPECT_EQ(contents(preboot + "/morrel1/current/image"), "new image");
    EXPECT_EQ(contents(preboot + "/restore/manifest"), "new manifest");
    EXPECT_EQ(contents(groupImage), "new image");
    EXPECT_EQ(contents(bootImage), "new image");
    EXPECT_EQ(contents(preboot + "/boot/active"), kNSIH);
    EXPECT_FALSE(machine.fileSystem.exists(preboot + "/morrel1/proposed"));
    EXPECT_FALSE(machine.fileSystem.exists(preboot + "/restore-staged"));
  }
};

TEST_P(RerunAfterAFailureTest, CompletesTheInstallation) {
  const std::string call = GetParam().substr(0, GetParam().size() - 1);
  const auto number = static_cast<std::size_t>(GetParam().back() - '0');
  const auto& rule = machine.faults.fail(call, EIO).onCall(number);
  runAnew();
  EXPECT_EQ(rule.effects(), 1U);
  EXPECT_TRUE(runAnew());
  expectInstalled();
}

INSTANTIATE_TEST_SUITE_P(Calls, RerunAfterAFailureTest,
                         testing::Values("FileTrees.swap1", "FileTrees.swap2", "FileTrees.rename1",
                                         "FileTrees.rename2", "Files.exists1", "Files.exists2",
                                         "Files.exists3", "Files.exists4", "Files.exists5",
                                         "Files.exists6", "Files.open1", "Files.write1",
                                         "Files.fullSync1", "Files.fullSync2"),
                         [](const auto& call) {
                           return call.param.substr(call.param.find('.') + 1);
                         });

}  // namespace
}  // namespace marrow
