#include "tests/contract/system/system_world.h"

#include <cerrno>

namespace marrow {

namespace {

constexpr char kSupersededMark[] = "trusted.marrow.superseded";

using FileTreesContract = SystemContract;
INSTANTIATE_TEST_SUITE_P(Worlds, FileTreesContract, bothWorlds(), nameOfWorld);

TEST_P(FileTreesContract, RenamesOverAFile) {
  put(world->at("staged"), "new");
  put(world->at("live"), "old");
  EXPECT_EQ(world->fileTrees().rename(world->at("staged"), world->at("live")), 0);
  EXPECT_EQ(get(world->at("live")), "new");
  EXPECT_FALSE(exists(world->at("staged")));
}

TEST_P(FileTreesContract, RenamesAFolderToWhereThereIsNone) {
  world->makeFolder(world->at("staged"));
  put(world->at("staged/file"), "text");
  EXPECT_EQ(world->fileTrees().rename(world->at("staged"), world->at("live")), 0);
  EXPECT_EQ(get(world->at("live/file")), "text");
  EXPECT_FALSE(exists(world->at("staged")));
}

TEST_P(FileTreesContract, RenamesALinkItself) {
  put(world->at("target"), "text");
  world->makeLink(world->at("link"), "target");
  EXPECT_EQ(world->fileTrees().rename(world->at("link"), world->at("moved")), 0);
  EXPECT_EQ(get(world->at("moved")), "text");
  EXPECT_TRUE(exists(world->at("target")));
}

TEST_P(FileTreesContract, FailsToRenameWhatIsMissing) {
  put(world->at("live"), "old");
  errno = 0;
  EXPECT_EQ(world->fileTrees().rename(world->at("missing"), world->at("live")), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(get(world->at("live")), "old");
}

TEST_P(FileTreesContract, FailsToRenameIntoAFolderThatIsMissing) {
  put(world->at("staged"), "new");
  errno = 0;
  EXPECT_EQ(world->fileTrees().rename(world->at("staged"), world->at("missing/live")), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(get(world->at("staged")), "new");
}

TEST_P(FileTreesContract, FailsToRenameAFileOverAFolderAndTheOtherWayRound) {
  put(world->at("file"), "text");
  world->makeFolder(world->at("folder"));
  errno = 0;
  EXPECT_EQ(world->fileTrees().rename(world->at("file"), world->at("folder")), -1);
  EXPECT_EQ(errno, EISDIR);
  errno = 0;
  EXPECT_EQ(world->fileTrees().rename(world->at("folder"), world->at("file")), -1);
  EXPECT_EQ(errno, ENOTDIR);
  EXPECT_EQ(get(world->at("file")), "text");
}

TEST_P(FileTreesContract, FailsToRenameOverAFolderThatIsNotEmpty) {
  world->makeFolder(world->at("staged"));
  world->makeFolder(world->at("live"));
  put(world->at("live/file"), "old");
  errno = 0;
  EXPECT_EQ(world->fileTrees().rename(world->at("staged"), world->at("live")), -1);
  EXPECT_EQ(errno, ENOTEMPTY);
  EXPECT_EQ(get(world->at("live/file")), "old");
}

TEST_P(FileTreesContract, SwapsTwoFolders) {
  world->makeFolder(world->at("staged"));
  world->makeFolder(world->at("live"));
  put(world->at("staged/file"), "new");
  put(world->at("live/file"), "old");
  EXPECT_EQ(world->fileTrees().swap(world->at("staged"), world->at("live")), 0);
  EXPECT_EQ(get(world->at("live/file")), "new");
  EXPECT_EQ(get(world->at("staged/file")), "old");
}

TEST_P(FileTreesContract, DoesNotSwapBackATreeThatWasSwappedAwayAndIsNotRemovedYet) {
  world->makeFolder(world->at("staged"));
  world->makeFolder(world->at("live"));
  put(world->at("staged/file"), "new");
  put(world->at("live/file"), "old");
  EXPECT_EQ(world->fileTrees().swap(world->at("staged"), world->at("live")), 0);
  EXPECT_EQ(world->fileTrees().swap(world->at("staged"), world->at("live")), 0);
  EXPECT_EQ(get(world->at("live/file")), "new");
  EXPECT_EQ(get(world->at("staged/file")), "old");
}

// A copy may take every attribute of the old tree along.
TEST_P(FileTreesContract, SwapsInACopyOfATreeThatWasSwappedAway) {
  world->makeFolder(world->at("staged"));
  world->makeFolder(world->at("live"));
  put(world->at("live/file"), "old");
  ASSERT_EQ(world->fileTrees().swap(world->at("staged"), world->at("live")), 0);
  const auto mark = world->attribute(world->at("staged"), kSupersededMark);
  ASSERT_TRUE(mark);
  world->makeFolder(world->at("copy"));
  put(world->at("copy/file"), "old");
  world->setAttribute(world->at("copy"), kSupersededMark, *mark);
  EXPECT_EQ(world->fileTrees().swap(world->at("copy"), world->at("live")), 0);
  EXPECT_EQ(get(world->at("live/file")), "old");
  EXPECT_EQ(world->names(world->at("copy")).size(), 0U);
}

TEST_P(FileTreesContract, FailsToSwapATreeThatWasSwappedAwayWithWhatIsMissing) {
  world->makeFolder(world->at("staged"));
  world->makeFolder(world->at("live"));
  put(world->at("live/file"), "old");
  ASSERT_EQ(world->fileTrees().swap(world->at("staged"), world->at("live")), 0);
  ASSERT_EQ(world->fileTrees().removeRecursively(world->at("live")), 0);
  errno = 0;
  EXPECT_EQ(world->fileTrees().swap(world->at("staged"), world->at("live")), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(get(world->at("staged/file")), "old");
}

TEST_P(FileTreesContract, SwapsInTheNextStagedTreeOnceTheOldOneIsRemoved) {
  world->makeFolder(world->at("live"));
  for (const std::string content : {"first", "second"}) {
    world->makeFolder(world->at("staged"));
    put(world->at("staged/file"), content);
    EXPECT_EQ(world->fileTrees().swap(world->at("staged"), world->at("live")), 0);
    EXPECT_EQ(get(world->at("live/file")), content);
    EXPECT_EQ(world->fileTrees().removeRecursively(world->at("staged")), 0);
  }
}

TEST_P(FileTreesContract, SwapsTwoFiles) {
  put(world->at("staged"), "new");
  put(world->at("live"), "old");
  EXPECT_EQ(world->fileTrees().swap(world->at("staged"), world->at("live")), 0);
  EXPECT_EQ(get(world->at("live")), "new");
  EXPECT_EQ(get(world->at("staged")), "old");
}

TEST_P(FileTreesContract, FailsToSwapWithWhatIsMissing) {
  put(world->at("present"), "text");
  errno = 0;
  EXPECT_EQ(world->fileTrees().swap(world->at("present"), world->at("missing")), -1);
  EXPECT_EQ(errno, ENOENT);
  errno = 0;
  EXPECT_EQ(world->fileTrees().swap(world->at("missing"), world->at("present")), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(get(world->at("present")), "text");
}

TEST_P(FileTreesContract, RemovesATreeWhole) {
  world->makeFolder(world->at("tree/folder/deeper"));
  put(world->at("tree/file"), "text");
  put(world->at("tree/folder/deeper/file"), "text");
  EXPECT_EQ(world->fileTrees().removeRecursively(world->at("tree")), 0);
  EXPECT_FALSE(exists(world->at("tree")));
}

TEST_P(FileTreesContract, RemovesASingleFile) {
  put(world->at("file"), "text");
  EXPECT_EQ(world->fileTrees().removeRecursively(world->at("file")), 0);
  EXPECT_FALSE(exists(world->at("file")));
}

TEST_P(FileTreesContract, NeverFollowsALinkWhileRemoving) {
  world->makeFolder(world->at("outside"));
  put(world->at("outside/file"), "text");
  world->makeFolder(world->at("tree"));
  world->makeLink(world->at("tree/link"), world->at("outside"));
  world->makeLink(world->at("link"), world->at("outside"));
  EXPECT_EQ(world->fileTrees().removeRecursively(world->at("tree")), 0);
  EXPECT_EQ(world->fileTrees().removeRecursively(world->at("link")), 0);
  EXPECT_FALSE(exists(world->at("tree")));
  EXPECT_FALSE(exists(world->at("link")));
  EXPECT_EQ(get(world->at("outside/file")), "text");
}

TEST_P(FileTreesContract, TellsThatThereIsNothingToRemove) {
  errno = 0;
  EXPECT_EQ(world->fileTrees().removeRecursively(world->at("missing")), -1);
  EXPECT_EQ(errno, ENOENT);
}

TEST_P(FileTreesContract, MovesAFileWithItsModeAndAttributes) {
  put(world->at("source"), "text");
  world->setMode(world->at("source"), 0640);
  world->setAttribute(world->at("source"), "user.origin", "here");
  EXPECT_EQ(world->fileTrees().moveFile(world->at("source"), world->at("moved")), 0);
  EXPECT_EQ(get(world->at("moved")), "text");
  EXPECT_EQ(world->mode(world->at("moved")), 0640U);
  EXPECT_EQ(world->attribute(world->at("moved"), "user.origin"), "here");
  EXPECT_FALSE(exists(world->at("source")));
}

TEST_P(FileTreesContract, MovesOverWhatIsThere) {
  put(world->at("source"), "new");
  put(world->at("moved"), "old and longer");
  world->setAttribute(world->at("moved"), "user.stale", "gone");
  EXPECT_EQ(world->fileTrees().moveFile(world->at("source"), world->at("moved")), 0);
  EXPECT_EQ(get(world->at("moved")), "new");
  EXPECT_EQ(world->attribute(world->at("moved"), "user.stale"), std::nullopt);
  EXPECT_EQ(world->names(world->at("")).size(), 1U);
}

TEST_P(FileTreesContract, KeepsTheSourceWhenTheMoveFails) {
  put(world->at("source"), "text");
  world->makeFolder(world->at("folder"));
  errno = 0;
  EXPECT_EQ(world->fileTrees().moveFile(world->at("source"), world->at("missing/moved")), -1);
  EXPECT_EQ(errno, ENOENT);
  errno = 0;
  EXPECT_EQ(world->fileTrees().moveFile(world->at("source"), world->at("folder")), -1);
  EXPECT_EQ(errno, EISDIR);
  EXPECT_EQ(get(world->at("source")), "text");
  EXPECT_EQ(world->names(world->at("")).size(), 2U);
}

TEST_P(FileTreesContract, FailsToMoveWhatIsNoRegularFile) {
  put(world->at("target"), "text");
  world->makeLink(world->at("link"), "target");
  world->makeFolder(world->at("folder"));
  ASSERT_EQ(world->files().makeFIFO(world->at("fifo"), 0600), 0);
  errno = 0;
  EXPECT_EQ(world->fileTrees().moveFile(world->at("link"), world->at("moved")), -1);
  EXPECT_EQ(errno, ELOOP);
  for (const char* name : {"folder", "fifo"}) {
    errno = 0;
    EXPECT_EQ(world->fileTrees().moveFile(world->at(name), world->at("moved")), -1);
    EXPECT_EQ(errno, EINVAL) << name;
    EXPECT_TRUE(exists(world->at(name)));
  }
  EXPECT_FALSE(exists(world->at("moved")));
}

TEST_P(FileTreesContract, TouchesNothingThroughALinkOnTheWay) {
  world->makeFolder(world->at("outside/tree"));
  put(world->at("outside/file"), "text");
  world->makeFolder(world->at("tree"));
  put(world->at("file"), "new");
  world->makeLink(world->at("link"), "outside");
  FileTrees& trees = world->fileTrees();
  const auto refused = [](int result) { return result == -1 && errno == ELOOP; };
  EXPECT_TRUE(refused(trees.rename(world->at("file"), world->at("link/file"))));
  EXPECT_TRUE(refused(trees.rename(world->at("link/file"), world->at("file"))));
  EXPECT_TRUE(refused(trees.swap(world->at("tree"), world->at("link/tree"))));
  EXPECT_TRUE(refused(trees.removeRecursively(world->at("link/tree"))));
  EXPECT_TRUE(refused(trees.moveFile(world->at("file"), world->at("link/file"))));
  EXPECT_EQ(get(world->at("outside/file")), "text");
  EXPECT_TRUE(exists(world->at("outside/tree")));
  EXPECT_EQ(get(world->at("file")), "new");
}

TEST_P(FileTreesContract, MovesAFileOutOfAFolderThatALinkLeadsTo) {
  world->makeFolder(world->at("folder"));
  put(world->at("folder/file"), "text");
  world->makeLink(world->at("link"), "folder");
  EXPECT_EQ(world->fileTrees().moveFile(world->at("link/file"), world->at("moved")), 0);
  EXPECT_EQ(get(world->at("moved")), "text");
  EXPECT_FALSE(exists(world->at("folder/file")));
}

TEST_P(FileTreesContract, KeepsAFileThatIsMovedOntoItself) {
  put(world->at("file"), "text");
  EXPECT_EQ(world->fileTrees().moveFile(world->at("file"), world->at("file")), 0);
  EXPECT_EQ(get(world->at("file")), "text");
}

TEST_P(FileTreesContract, FailsToMoveWhatIsMissing) {
  put(world->at("moved"), "old");
  errno = 0;
  EXPECT_EQ(world->fileTrees().moveFile(world->at("missing"), world->at("moved")), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(get(world->at("moved")), "old");
}

}  // namespace

}  // namespace marrow
