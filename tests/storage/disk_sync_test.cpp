#include "tests/storage/storage_test.h"

#include <cerrno>

namespace marrow {
namespace {

const std::string kFolder = "/Volumes/preboot";

class DiskSync : public StorageTest {
 protected:
  Texts fileCalls() { return machine.journal.calls("Files."); }
};

TEST_F(DiskSync, OpensForReadingFlushesAndCloses) {
  EXPECT_TRUE(createController()->syncChangesToDisk(kFolder));
  EXPECT_EQ(fileCalls(), (Texts{"Files.open " + kFolder + " readOnly|nonBlocking|noLinks",
                                "Files.fullSync " + kFolder, "Files.close " + kFolder}));
  EXPECT_EQ(machine.files.openPaths(), Texts{});
}

TEST_F(DiskSync, SaysAtInfoLevelThatItSucceeded) {
  createController()->syncChangesToDisk(kFolder);
  EXPECT_EQ(logged(), Texts{"Log.info F_FULLFSYNC of /Volumes/preboot succeeded"});
}

TEST_F(DiskSync, FlushesAFileAsWell) {
  machine.fileSystem.write(kFolder + "/file", "text");
  EXPECT_TRUE(createController()->syncChangesToDisk(kFolder + "/file"));
}

TEST_F(DiskSync, OfAMissingPathFailsAfterOneErrorAndFlushesNothing) {
  EXPECT_FALSE(createController()->syncChangesToDisk("/nowhere"));
  EXPECT_EQ(fileCalls(), Texts{"Files.open /nowhere readOnly|nonBlocking|noLinks"});
  EXPECT_EQ(logged(), Texts{"Log.error Failed to open /nowhere for fsync: 2"});
}

TEST_F(DiskSync, OfAnAbsentPathFailsAsForAMissingOneAndOpensNothing) {
  EXPECT_FALSE(createController()->syncChangesToDisk(std::nullopt));
  EXPECT_EQ(fileCalls(), Texts{});
  EXPECT_EQ(logged(), Texts{"Log.error Failed to open (null) for fsync: 2"});
}

TEST_F(DiskSync, OfAnEmptyPathFails) {
  EXPECT_FALSE(createController()->syncChangesToDisk(""));
  EXPECT_EQ(logged(), Texts{"Log.error Failed to open  for fsync: 2"});
}

TEST_F(DiskSync, TriesAFailedOpenOnce) {
  machine.faults.fail("Files.open", EINTR);
  EXPECT_FALSE(createController()->syncChangesToDisk(kFolder));
  EXPECT_EQ(fileCalls().size(), 1U);
  EXPECT_EQ(logged(), Texts{"Log.error Failed to open /Volumes/preboot for fsync: 4"});
}

TEST_F(DiskSync, ThatFailsIsLoggedAndNotTriedOtherwise) {
  machine.faults.fail("Files.fullSync", EIO);
  EXPECT_FALSE(createController()->syncChangesToDisk(kFolder));
  EXPECT_EQ(logged(), Texts{"Log.error Failed to sync /Volumes/preboot with F_FULLFSYNC: 5"});
  EXPECT_EQ(fileCalls(), (Texts{"Files.open " + kFolder + " readOnly|nonBlocking|noLinks",
                                "Files.fullSync " + kFolder, "Files.close " + kFolder}));
}

TEST_F(DiskSync, WhoseCloseFailsEndsTheProcess) {
  const auto controller = createController();
  machine.faults.fail("Files.close", EIO);
  const RunEnded end = endOf([&] { controller->syncChangesToDisk(kFolder); });
  EXPECT_EQ(end.kind, RunEnded::Kind::abort);
  EXPECT_NE(end.text.find(std::to_string(EIO)), std::string::npos) << end.text;
}

TEST_F(DiskSync, ThatFailedEndsTheProcessAsWellWhenItsCloseFails) {
  const auto controller = createController();
  machine.faults.fail("Files.fullSync", ENOSPC);
  machine.faults.fail("Files.close", EIO);
  const RunEnded end = endOf([&] { controller->syncChangesToDisk(kFolder); });
  EXPECT_EQ(end.kind, RunEnded::Kind::abort);
  EXPECT_TRUE(
      machine.log.has(LogLevel::error, "", "Failed to sync /Volumes/preboot with F_FULLFSYNC: 28"));
}

TEST_F(DiskSync, ClosesTheDescriptorWhenAnExceptionPassesThrough) {
  struct Interruption {};
  const auto controller = createController();
  machine.faults.before("Files.fullSync", [] { throw Interruption(); });
  EXPECT_THROW(controller->syncChangesToDisk(kFolder), Interruption);
  EXPECT_EQ(machine.files.openPaths(), Texts{});
}

}  // namespace
}  // namespace marrow
