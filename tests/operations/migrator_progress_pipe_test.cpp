#include "tests/operations/migrator_test.h"

#include <gmock/gmock.h>

namespace marrow {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

// A pipe that is open, without a tool.
class MigratorProgressPipeTest : public MigratorTest {
 protected:
  void report(const std::string& bytes) { machine.fileSystem.write(fifo, bytes); }
};

TEST_F(MigratorProgressPipeTest, OpensAFIFOThatOnlyTheDaemonMayUse) {
  operation->_openProgressPipe();
  ASSERT_TRUE(hasFIFO());
  EXPECT_EQ(machine.fileSystem.node(fifo)->mode, 0600U);
  EXPECT_EQ(operation->progressPath(), fifo);
  EXPECT_TRUE(operation->progressHandle());
}

TEST_F(MigratorProgressPipeTest, DoesNotWaitForTheToolToOpenItsEnd) {
  operation->_openProgressPipe();
  EXPECT_THAT(machine.journal.calls("Files.open"),
              ElementsAre("Files.open " + fifo + " readOnly|nonBlocking"));
}

TEST_F(MigratorProgressPipeTest, AFileThatAnEarlierRunLeftMakesWay) {
  machine.fileSystem.write(fifo, "stale");
  operation->_openProgressPipe();
  EXPECT_EQ(machine.fileSystem.node(fifo)->kind, FileKind::fifo);
}

TEST_F(MigratorProgressPipeTest, AFIFOThatAnEarlierRunLeftMakesWay) {
  machine.fileSystem.makeFIFO(fifo);
  const auto stale = machine.fileSystem.node(fifo);
  operation->_openProgressPipe();
  EXPECT_NE(machine.fileSystem.node(fifo), stale);
  EXPECT_TRUE(operation->progressHandle());
}

TEST_F(MigratorProgressPipeTest, AFailedRemovalOfAStaleFileIsIgnored) {
  machine.faults.fail("Files.unlink", EPERM).once();
  operation->_openProgressPipe();
  EXPECT_TRUE(operation->progressHandle());
  EXPECT_THAT(machine.log.texts(), IsEmpty());
}

TEST_F(MigratorProgressPipeTest, AFailedMakeIsLoggedAndStoresNothing) {
  machine.faults.fail("Files.makeFIFO", EROFS);
  operation->_openProgressPipe();
  EXPECT_TRUE(hasLogged(LogLevel::error, "mkfifo failed: 30 (Read-only file system)"));
  expectNoPipe();
}

TEST_F(MigratorProgressPipeTest, AFailedOpenIsLoggedAndRemovesTheFIFO) {
  machine.faults.fail("Files.open", EMFILE);
  operation->_openProgressPipe();
  EXPECT_TRUE(
      hasLogged(LogLevel::error, "open() failed for progress pipe: 24 (Too many open files)"));
  expectNoPipe();
}

TEST_F(MigratorProgressPipeTest, ClosingReleasesTheHandleThenRemovesTheFIFO) {
  operation->_openProgressPipe();
  machine.journal.clear();
  operation->_closeProgressPipe();
  EXPECT_THAT(machine.journal.calls(),
              ElementsAre(StartsWith("FileHandle.setReadabilityHandler"),
                          StartsWith("FileHandle.close"), "Files.unlink " + fifo));
  expectNoPipe();
  EXPECT_THAT(machine.files.openPaths(), IsEmpty());
}

TEST_F(MigratorProgressPipeTest, ClosingTwiceIsHarmless) {
  operation->_openProgressPipe();
  operation->_closeProgressPipe();
  machine.journal.clear();
  operation->_closeProgressPipe();
  EXPECT_THAT(machine.journal.calls(), IsEmpty());
}

TEST_F(MigratorProgressPipeTest, ClosingWhatWasNeverOpenedIsHarmless) {
  operation->_closeProgressPipe();
  EXPECT_THAT(machine.journal.calls(), IsEmpty());
}

TEST_F(MigratorProgressPipeTest, TheEndOfTheOperationClosesThePipe) {
  operation->_openProgressPipe();
  operation.reset();
  EXPECT_FALSE(hasFIFO());
  EXPECT_EQ(machine.fileHandles.openHandles(), 0U);
  EXPECT_THAT(machine.files.openPaths(), IsEmpty());
}

TEST_F(MigratorProgressPipeTest, TheCallbackDoesNotKeepTheOperationAlive) {
  operation->_openProgressPipe();
  const std::weak_ptr<MWLoamMigratorOperation> observer = operation;
  operation.reset();
  EXPECT_TRUE(observer.expired());
}

TEST_F(MigratorProgressPipeTest, AReportAfterTheOperationIsGoneIsReadAndDropped) {
  operation->_openProgressPipe();
  const auto handle = operation->progressHandle();
  const auto progress = operation->progress();
  operation->setProgressHandle(nullptr);
  operation->setProgressPath(std::nullopt);
  operation.reset();
  report("42\n");
  EXPECT_EQ(progress->completedUnitCount(), 0);
  EXPECT_EQ(handle->availableData(), "");
}

TEST_F(MigratorProgressPipeTest, AReportBecomesTheCompletedUnitCount) {
  operation->_openProgressPipe();
  report("42\n");
  EXPECT_EQ(percentage(), 42);
  EXPECT_DOUBLE_EQ(operation->progress()->fractionCompleted(), 0.42);
}

TEST_F(MigratorProgressPipeTest, AReportOfTheWholeIsTaken) {
  operation->_openProgressPipe();
  report("100\n");
  EXPECT_EQ(percentage(), 100);
}

TEST_F(MigratorProgressPipeTest, ReportsOutsideTheRangeChangeNothing) {
  operation->_openProgressPipe();
  report("42\n");
  report("101\n");
  EXPECT_EQ(percentage(), 42);
  report("-5\n");
  EXPECT_EQ(percentage(), 42);
}

TEST_F(MigratorProgressPipeTest, LettersSetZero) {
  operation->_openProgressPipe();
  report("42\n");
  report("abc");
  EXPECT_EQ(percentage(), 0);
}

TEST_F(MigratorProgressPipeTest, OnlyTheFirstReportOfOneReadCounts) {
  operation->_openProgressPipe();
  report("10\n20\n");
  EXPECT_EQ(percentage(), 10);
}

TEST_F(MigratorProgressPipeTest, ReportsThatCameBeforeTheReadAreOneRead) {
  operation->_openProgressPipe();
  machine.fileHandles.deliverTogether([&] {
    report("10\n");
    report("20\n");
  });
  EXPECT_EQ(percentage(), 10);
  report("30\n");
  EXPECT_EQ(percentage(), 30);
}

TEST_F(MigratorProgressPipeTest, ALowerReportIsTakenLikeAnyOther) {
  operation->_openProgressPipe();
  report("50\n");
  report("20\n");
  EXPECT_EQ(percentage(), 20);
}

TEST_F(MigratorProgressPipeTest, NothingToReadChangesNothing) {
  operation->_openProgressPipe();
  report("42\n");
  report("");
  EXPECT_EQ(percentage(), 42);
}

TEST_F(MigratorProgressPipeTest, AReportGoesToTheProgressThatIsSetWhenItComes) {
  operation->_openProgressPipe();
  const auto progress = std::make_shared<Progress>(200);
  operation->setProgress(progress);
  report("42\n");
  EXPECT_EQ(progress->completedUnitCount(), 42);
}

TEST_F(MigratorProgressPipeTest, WithoutAProgressObjectAReportIsDropped) {
  operation->_openProgressPipe();
  operation->setProgress(nullptr);
  report("42\n");
  EXPECT_EQ(operation->progress(), nullptr);
}

TEST_F(MigratorProgressPipeTest, TheToolsReportsAreSeenWhileItRuns) {
  std::vector<std::int64_t> seen;
  installTool([&](const Arguments& arguments) {
    EXPECT_THAT(arguments, Contains(fifo));
    for (const char* text : {"0\n", "25\n", "50\n"}) {
      report(text);
      seen.push_back(percentage());
    }
    return ProgramResult();
  });
  operation->start();
  EXPECT_THAT(seen, ElementsAre(0, 25, 50));
}

TEST_F(MigratorProgressPipeTest, TheLastReportStaysWhenTheToolHasEnded) {
  installTool([&](const Arguments&) {
    report("73\n");
    return ProgramResult();
  });
  operation->start();
  EXPECT_TRUE(operation->success());
  EXPECT_EQ(percentage(), 73);
}

}  // namespace
}  // namespace marrow
