#include "tests/operations/migrator_test.h"

#include <gmock/gmock.h>

namespace marrow {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr char kDomain[] = "MWLoamMigratorOperationErrorDomain";

// Mounts are refused before, as the operation before this one leaves them.
class MWLoamMigratorOperationTest : public MigratorTest {
 protected:
  MWLoamMigratorOperationTest() {
    controller->startDissentingMounts();
    forgetTheStart();
  }

  // A failure before the tool's work was seen.
  void expectFailedEarly(std::int64_t code) {
    EXPECT_FALSE(operation->success());
    expectError(operation->error(), kDomain, code);
    EXPECT_FALSE(operation->error()->localizedDescription());
    expectNothingHandedOver();
    EXPECT_TRUE(isRefusingMounts());
    expectNoPipe();
  }

  const ErrorRef failure = makeError("TestDomain", 7);
};

TEST_F(MWLoamMigratorOperationTest, GivesItsClassName) {
  EXPECT_EQ(operation->className(), "MWLoamMigratorOperation");
}

TEST_F(MWLoamMigratorOperationTest, ExpectsToTakeThreeHundredSeconds) {
  EXPECT_EQ(operation->estimatedExecutionTime(), 300.0);
}

TEST_F(MWLoamMigratorOperationTest, IsReachedAsAnOperationForItsProgress) {
  MWOperation& base = *operation;
  ASSERT_TRUE(base.progress());
  EXPECT_EQ(base.progress()->totalUnitCount(), 100);
  EXPECT_EQ(base.progress()->completedUnitCount(), 0);
}

TEST_F(MWLoamMigratorOperationTest, ARunThatSucceedsLeavesNoErrorAndHandsOver) {
  operation->start();
  EXPECT_TRUE(operation->success());
  EXPECT_FALSE(operation->error());
  expectHandedOver();
  expectNoPipe();
}

TEST_F(MWLoamMigratorOperationTest, WorksInAFixedOrder) {
  installTool({"found 1 problem\n", 3});
  operation->start();
  EXPECT_THAT(
      machine.journal.calls({"Files.", "DeviceNames.", "KWUtilities.", "TemporaryDirectory.",
                             "FileHandles.", "FileHandle.", "Log.", "TaskLauncher.",
                             "LaunchedTask.", "DASession.setQueue"}),
      ElementsAre(
          "Files.statusAt /dev/disk0s5", StartsWith("DeviceNames.characterDeviceName"),
          "KWUtilities.isDarkBoot", "TemporaryDirectory.path", "Files.unlink " + fifo,
          "Files.makeFIFO " + fifo, "Files.open " + fifo + " readOnly|nonBlocking",
          StartsWith("FileHandles.createHandle"), StartsWith("FileHandle.setReadabilityHandler"),
          StartsWith("Log.default[Operations] Running Loam Migrator with options: ("),
          StartsWith("TaskLauncher.launch /System/"), StartsWith("LaunchedTask.readOutputToEnd"),
          StartsWith("LaunchedTask.waitUntilExit"), StartsWith("FileHandle.setReadabilityHandler"),
          StartsWith("FileHandle.close"), "Files.unlink " + fifo,
          "Log.default[Operations] Loam Migrator Output: found 1 problem\n",
          StartsWith("DASession.setQueue"),
          "Log.error[Operations] Loam Migrator exited with status: 3"));
}

TEST_F(MWLoamMigratorOperationTest, AMigrationThatIsNotRequiredIsSkipped) {
  operation->required = false;
  operation->start();
  EXPECT_TRUE(operation->success());
  EXPECT_FALSE(operation->error());
  EXPECT_THAT(machine.journal.calls(),
              ElementsAre("Log.default[Operations] Skipping MWLoamMigratorOperation as the "
                          "container has already been migrated to ELoam."));
  expectNothingHandedOver();
}

TEST_F(MWLoamMigratorOperationTest, WithoutADataVolumeItFailsWithCodeOneInSilence) {
  machine.partitions.removeVolume(kDataVolume);
  operation->start();
  expectFailedEarly(1);
  EXPECT_THAT(operation->error()->userInfo(), IsEmpty());
  EXPECT_THAT(machine.log.texts(), IsEmpty());
}

TEST_F(MWLoamMigratorOperationTest, WithoutADataSourceItFailsWithCodeOne) {
  const auto alone = std::make_shared<MWLoamMigratorOperation>(services());
  EXPECT_FALSE(alone->execute());
  expectError(alone->error(), kDomain, 1);
}

TEST_F(MWLoamMigratorOperationTest, AFailedStatIsCodeTwoWithItsErrorNumber) {
  machine.faults.fail("Files.statusAt", EACCES);
  operation->start();
  expectFailedEarly(2);
  expectError(underlying(operation->error()), kPOSIXErrorDomain, EACCES);
  EXPECT_TRUE(hasLogged(
      LogLevel::error, "Failed to stat(\"/dev/disk0s5\") data volume dev-node. Permission denied"));
  EXPECT_THAT(machine.launcher.launches(), IsEmpty());
}

TEST_F(MWLoamMigratorOperationTest, AFailedLaunchIsCodeThreeWithTheLaunchersError) {
  machine.faults.fail("TaskLauncher.launch", failure);
  operation->start();
  expectFailedEarly(3);
  EXPECT_EQ(underlying(operation->error()), failure);
  EXPECT_TRUE(hasLogged(LogLevel::error, "Failed to launch Loam migrator. TestDomain code 7"));
}

TEST_F(MWLoamMigratorOperationTest, AMissingToolIsAFailedLaunch) {
  machine.launcher.uninstall(kMigratorPath);
  operation->start();
  expectFailedEarly(3);
  expectError(underlying(operation->error()), kPOSIXErrorDomain, ENOENT);
}

TEST_F(MWLoamMigratorOperationTest, AFailedReadOfTheOutputIsCodeFiveAndDoesNotWait) {
  machine.faults.fail("LaunchedTask.readOutputToEnd", failure);
  operation->start();
  expectFailedEarly(5);
  EXPECT_EQ(underlying(operation->error()), failure);
  EXPECT_TRUE(
      hasLogged(LogLevel::error, "Failed to read Loam migrator pipe handle. TestDomain code 7"));
  EXPECT_FALSE(machine.journal.contains("LaunchedTask.waitUntilExit"));
}

TEST_F(MWLoamMigratorOperationTest, AFailedDryRunSucceedsWithItsErrorAndHandsOver) {
  installTool({"", 3});
  operation->start();
  EXPECT_TRUE(operation->success());
  expectError(operation->error(), kDomain, 4);
  expectError(underlying(operation->error()), kPOSIXErrorDomain, 3);
  EXPECT_FALSE(operation->error()->localizedDescription());
  EXPECT_TRUE(hasLogged(LogLevel::error, "Loam Migrator exited with status: 3"));
  expectHandedOver();
  expectNoPipe();
}

TEST_F(MWLoamMigratorOperationTest, AFailedRealRunFailsWithItsErrorAndHandsOver) {
  operation->dryRun = false;
  installTool({"", 3});
  operation->start();
  EXPECT_FALSE(operation->success());
  expectError(operation->error(), kDomain, 4);
  expectHandedOver();
}

TEST_F(MWLoamMigratorOperationTest, ARealRunThatSucceedsHasNoError) {
  operation->dryRun = false;
  operation->start();
  EXPECT_TRUE(operation->success());
  EXPECT_FALSE(operation->error());
}

TEST_F(MWLoamMigratorOperationTest, ANegativeStatusKeepsItsSign) {
  installTool({"", -2});
  operation->start();
  expectError(underlying(operation->error()), kPOSIXErrorDomain, -2);
  EXPECT_TRUE(hasLogged(LogLevel::error, "Loam Migrator exited with status: -2"));
}

TEST_F(MWLoamMigratorOperationTest, TheOutputIsLoggedWholeInOneMessage) {
  installTool({"first line\nsecond line\n", 0});
  operation->start();
  EXPECT_TRUE(hasLogged(LogLevel::standard, "Loam Migrator Output: first line\nsecond line\n"));
}

TEST_F(MWLoamMigratorOperationTest, NoOutputIsLoggedAsAnEmptyText) {
  installTool({"", 0});
  operation->start();
  EXPECT_TRUE(hasLogged(LogLevel::standard, "Loam Migrator Output: "));
}

TEST_F(MWLoamMigratorOperationTest, AnOutputThatIsNotUTF8DecodesToNothing) {
  installTool({"volume \xFF\n", 0});
  operation->start();
  EXPECT_TRUE(operation->success());
  EXPECT_TRUE(hasLogged(LogLevel::standard, "Loam Migrator Output: (null)"));
  expectHandedOver();
}

TEST_F(MWLoamMigratorOperationTest, MountsStayRefusedAndTheFIFOListensWhileTheToolRuns) {
  bool refusing = false;
  bool listening = false;
  installTool([&](const Arguments&) {
    refusing = isRefusingMounts();
    listening = hasFIFO() && operation->progressHandle() && operation->progressPath() == fifo;
    return ProgramResult();
  });
  operation->start();
  EXPECT_TRUE(refusing);
  EXPECT_TRUE(listening);
}

TEST_F(MWLoamMigratorOperationTest, ASecondRunRunsTheToolAgain) {
  operation->start();
  operation->start();
  EXPECT_TRUE(operation->success());
  EXPECT_EQ(machine.launcher.launches().size(), 2U);
  expectNoPipe();
}

}  // namespace
}  // namespace marrow
