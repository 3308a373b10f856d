#include "tests/operations/migrator_test.h"

#include <gmock/gmock.h>

namespace marrow {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;

using MigratorArgumentsTest = MigratorTest;

TEST_F(MigratorArgumentsTest, AreExactlyThese) {
  EXPECT_THAT(argumentsOfRun(),
              ElementsAre("-M", "-m", "/private/tmp/loam_migrator_metrics.dat", "-l",
                          "/private/tmp/loam_migrator.log", "-n", "-t", "300", "-g",
                          "/run/marrow/tmp/loam_migrator_progress.txt", "/dev/rdisk0s5"));
  EXPECT_EQ(machine.launcher.launches().back().path,
            "/System/Library/Filesystems/loam.fs/Contents/Resources/loam_migrator");
}

TEST_F(MigratorArgumentsTest, TheDaemonsOwnRunIsAlwaysADryRunWithATimeout) {
  const auto own = create<MWLoamMigratorOperation>(services());
  own->start();
  const auto& arguments = machine.launcher.launches().back().arguments;
  EXPECT_TRUE(own->migrationRequired());
  EXPECT_TRUE(own->dryRunOnly());
  EXPECT_THAT(arguments, Contains("-n"));
  EXPECT_THAT(arguments, Contains("-t"));
  EXPECT_THAT(arguments, Not(Contains("-o")));
  EXPECT_THAT(arguments, Not(Contains("createtmpcp")));
}

TEST_F(MigratorArgumentsTest, AreLoggedBeforeTheLaunch) {
  argumentsOfRun();
  const std::string text =
      "Running Loam Migrator with options: (-M, -m, /private/tmp/loam_migrator_metrics.dat, -l, "
      "/private/tmp/loam_migrator.log, -n, -t, 300, -g, "
      "/run/marrow/tmp/loam_migrator_progress.txt, /dev/rdisk0s5)";
  EXPECT_TRUE(hasLogged(LogLevel::standard, text));
  EXPECT_TRUE(machine.journal.inOrder("Log.default[Operations] Running", "TaskLauncher.launch"));
}

TEST_F(MigratorArgumentsTest, ADarkBootHasTheLongTimeout) {
  machine.installer.setDarkBoot(true);
  EXPECT_EQ(operation->dryRunTimeout(), 1200U);
  EXPECT_THAT(argumentsOfRun(), Contains("1200"));
}

TEST_F(MigratorArgumentsTest, InternalContentHasTheLongTimeout) {
  machine.osVariant.setInternalContent(true);
  EXPECT_EQ(operation->dryRunTimeout(), 1200U);
}

TEST_F(MigratorArgumentsTest, InternalContentOfADarkBootHasTheLongTimeout) {
  machine.installer.setDarkBoot(true);
  machine.osVariant.setInternalContent(true);
  EXPECT_EQ(operation->dryRunTimeout(), 1200U);
}

TEST_F(MigratorArgumentsTest, AnyOtherBootHasTheShortTimeout) {
  EXPECT_EQ(operation->dryRunTimeout(), 300U);
}

TEST_F(MigratorArgumentsTest, TheDarkBootIsAskedForFirstThenTheDaemonsInternalContent) {
  EXPECT_EQ(operation->dryRunTimeout(), 300U);
  EXPECT_THAT(
      machine.journal.calls({"KWUtilities.", "OSVariant."}),
      ElementsAre("KWUtilities.isDarkBoot", "OSVariant.hasInternalContent com.corvane.marrowd"));
}

TEST_F(MigratorArgumentsTest, ATimeoutOfZeroLeavesOutTheOptionAndItsValue) {
  operation->timeout = 0;
  EXPECT_THAT(argumentsOfRun(), ElementsAre("-M", "-m", kMigratorMetrics, "-l", kMigratorLog, "-n",
                                            "-g", fifo, "/dev/rdisk0s5"));
}

TEST_F(MigratorArgumentsTest, ALongTimeoutIsWrittenInFull) {
  operation->timeout = 18446744073709551615U;
  EXPECT_THAT(argumentsOfRun(), Contains("18446744073709551615"));
}

TEST_F(MigratorArgumentsTest, ARealRunHasItsOwnOptionsAndNoTimeout) {
  operation->dryRun = false;
  EXPECT_THAT(argumentsOfRun(), ElementsAre("-M", "-m", kMigratorMetrics, "-l", kMigratorLog, "-o",
                                            "createtmpcp", "-g", fifo, "/dev/rdisk0s5"));
  EXPECT_EQ(operation->timeoutQueries, 0);
}

TEST_F(MigratorArgumentsTest, WhatKindOfRunItIsIsAskedOnce) {
  installTool({"", 3});
  argumentsOfRun();
  EXPECT_EQ(operation->dryRunQueries, 1);
  EXPECT_EQ(operation->timeoutQueries, 1);
}

TEST_F(MigratorArgumentsTest, WithoutAFIFOTheToolRunsWithoutTheProgressOption) {
  machine.faults.fail("Files.makeFIFO", EROFS);
  EXPECT_THAT(argumentsOfRun(), ElementsAre("-M", "-m", kMigratorMetrics, "-l", kMigratorLog, "-n",
                                            "-t", "300", "/dev/rdisk0s5"));
  EXPECT_TRUE(operation->success());
  EXPECT_EQ(percentage(), 0);
}

TEST_F(MigratorArgumentsTest, WithoutAReadableFIFOTheToolRunsWithoutTheProgressOption) {
  machine.faults.fail("Files.open", EMFILE).when(fifo);
  EXPECT_THAT(argumentsOfRun(), Not(Contains("-g")));
  EXPECT_TRUE(operation->success());
}

TEST_F(MigratorArgumentsTest, TheLastIsTheRawDeviceAlsoWhenTheNodeIsThatAlready) {
  machine.fileSystem.makeDevice("/dev/disk0s5", FileKind::characterDevice,
                                machine.partitions.deviceNumber(kDataVolume));
  EXPECT_EQ(argumentsOfRun().back(), "/dev/rdisk0s5");
}

TEST_F(MigratorArgumentsTest, TheLastFollowsTheNodesNumberNotItsName) {
  machine.fileSystem.makeDevice("/dev/disk0s5", FileKind::blockDevice,
                                machine.partitions.deviceNumber(kOtherDataVolume));
  EXPECT_EQ(argumentsOfRun().back(), "/dev/rdisk0s2");
}

TEST_F(MigratorArgumentsTest, ANumberWithoutANameReadsAsTwoQuestionMarks) {
  machine.fileSystem.makeDevice("/dev/disk0s5", FileKind::blockDevice, 0xFFFFFF);
  EXPECT_EQ(argumentsOfRun().back(), "/dev/??");
}

}  // namespace
}  // namespace marrow
