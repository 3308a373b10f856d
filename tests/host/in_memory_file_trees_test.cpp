#include "tests/host/in_memory_host.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace marrow {
namespace {

using testing::ElementsAre;

constexpr char kMark[] = "trusted.marrow.superseded";

class FileTreesTest : public testing::Test {
 protected:
  FileTreesTest() {
    tree.write("/a/folder/file", "from a");
    tree.write("/b/folder/other", "from b");
    tree.write("/a/file", "file of a");
    tree.write("/b/file", "file of b");
    tree.makeFolder("/empty");
  }

  static int errorOf(int result) { return result == 0 ? 0 : errno; }

  InMemoryHost machine;
  InMemoryFileTrees& trees = machine.trees;
  InMemoryFileSystem& tree = machine.fileSystem;
};

TEST_F(FileTreesTest, RenameReplacesAFile) {
  EXPECT_EQ(trees.rename("/a/file", "/b/file"), 0);
  EXPECT_EQ(tree.contents("/b/file"), "file of a");
  EXPECT_FALSE(tree.exists("/a/file"));
}

TEST_F(FileTreesTest, RenameMovesAFolderOverAnEmptyOneOrNone) {
  EXPECT_EQ(trees.rename("/a/folder", "/empty"), 0);
  EXPECT_EQ(trees.rename("/empty", "/new"), 0);
  EXPECT_EQ(tree.contents("/new/file"), "from a");
}

TEST_F(FileTreesTest, RenameRefusesWhatDoesNotFit) {
  EXPECT_EQ(errorOf(trees.rename("/missing", "/b/file")), ENOENT);
  EXPECT_EQ(errorOf(trees.rename("/a/file", "/missing/file")), ENOENT);
  EXPECT_EQ(errorOf(trees.rename("/a/folder", "/b/file")), ENOTDIR);
  EXPECT_EQ(errorOf(trees.rename("/a/file", "/b/folder")), EISDIR);
  EXPECT_EQ(errorOf(trees.rename("/a/folder", "/b/folder")), ENOTEMPTY);
  EXPECT_EQ(errorOf(trees.rename("/a", "/a/folder/inside")), EINVAL);
  EXPECT_EQ(errorOf(trees.rename("/a/file", "/Volumes/preboot/file")), EXDEV);
  EXPECT_EQ(errorOf(trees.rename("/Volumes/preboot", "/elsewhere")), EBUSY);
}

TEST_F(FileTreesTest, SwapExchangesTwoTrees) {
  EXPECT_EQ(trees.swap("/a/folder", "/b/folder"), 0);
  EXPECT_EQ(tree.contents("/a/folder/other"), "from b");
  EXPECT_EQ(tree.contents("/b/folder/file"), "from a");
}

TEST_F(FileTreesTest, ATreeThatWasExchangedAwayIsNotExchangedBack) {
  EXPECT_EQ(trees.swap("/a/folder", "/b/folder"), 0);
  EXPECT_TRUE(tree.node("/a/folder")->attributes.contains(kMark));
  EXPECT_FALSE(tree.node("/b/folder")->attributes.contains(kMark));
  EXPECT_EQ(trees.swap("/a/folder", "/b/folder"), 0);
  EXPECT_EQ(tree.contents("/b/folder/file"), "from a");
  EXPECT_EQ(tree.contents("/a/folder/other"), "from b");
}

TEST_F(FileTreesTest, ACopyOfATreeThatWasExchangedAwayIsExchanged) {
  EXPECT_EQ(trees.swap("/a/folder", "/b/folder"), 0);
  tree.write("/a/copy/other", "from b");
  tree.node("/a/copy")->attributes = tree.node("/a/folder")->attributes;
  EXPECT_EQ(trees.swap("/a/copy", "/b/folder"), 0);
  EXPECT_EQ(tree.contents("/b/folder/other"), "from b");
}

TEST_F(FileTreesTest, TheNextStagedTreeIsExchangedOnceTheOldOneIsRemoved) {
  EXPECT_EQ(trees.swap("/a/folder", "/b/folder"), 0);
  EXPECT_EQ(trees.removeRecursively("/a/folder"), 0);
  tree.write("/a/folder/next", "staged later");
  EXPECT_EQ(trees.swap("/a/folder", "/b/folder"), 0);
  EXPECT_EQ(tree.contents("/b/folder/next"), "staged later");
}

TEST_F(FileTreesTest, AnExchangeThatFailsMarksNothing) {
  machine.faults.fail("FileTrees.swap", EIO).once();
  EXPECT_EQ(errorOf(trees.swap("/a/folder", "/b/folder")), EIO);
  EXPECT_EQ(errorOf(trees.swap("/a", "/a/folder")), EINVAL);
  EXPECT_TRUE(tree.node("/b/folder")->attributes.empty());
  EXPECT_TRUE(tree.node("/a/folder")->attributes.empty());
}

TEST_F(FileTreesTest, AFileIsExchangedBackAndForth) {
  EXPECT_EQ(trees.swap("/a/file", "/b/file"), 0);
  EXPECT_EQ(trees.swap("/a/file", "/b/file"), 0);
  EXPECT_EQ(tree.contents("/a/file"), "file of a");
}

TEST_F(FileTreesTest, SwapExchangesAFolderAndAFile) {
  EXPECT_EQ(trees.swap("/a/folder", "/b/file"), 0);
  EXPECT_EQ(tree.contents("/a/folder"), "file of b");
  EXPECT_EQ(tree.contents("/b/file/file"), "from a");
}

TEST_F(FileTreesTest, SwapNeedsBothOnOneFileSystem) {
  EXPECT_EQ(errorOf(trees.swap("/a/folder", "/missing")), ENOENT);
  EXPECT_EQ(errorOf(trees.swap("/missing", "/a/folder")), ENOENT);
  EXPECT_EQ(errorOf(trees.swap("/a", "/a/folder")), EINVAL);
  EXPECT_EQ(errorOf(trees.swap("/a/folder", "/Volumes/preboot/" + kBootedGroup)), EXDEV);
}

TEST_F(FileTreesTest, RemovalTakesTheTreeAndNotWhatLinksPointAt) {
  tree.makeLink("/a/folder/link", "/b");
  EXPECT_EQ(trees.removeRecursively("/a"), 0);
  EXPECT_FALSE(tree.exists("/a"));
  EXPECT_TRUE(tree.exists("/b/folder/other"));
  EXPECT_EQ(errorOf(trees.removeRecursively("/a")), ENOENT);
}

TEST_F(FileTreesTest, RemovalDoesNotEnterAnotherVolume) {
  EXPECT_EQ(errorOf(trees.removeRecursively("/Volumes")), EBUSY);
  EXPECT_TRUE(tree.exists("/Volumes/preboot/" + kBootedGroup));
}

TEST_F(FileTreesTest, AMovedFileKeepsItsMetadataAndReplacesTheOther) {
  tree.node("/a/file")->mode = 0600;
  tree.node("/a/file")->owner = 7;
  tree.node("/a/file")->attributes["user.note"] = "kept";
  EXPECT_EQ(trees.moveFile("/a/file", "/Volumes/preboot/file"), 0);
  const FileNodeRef moved = tree.node("/@disk0s3/file");
  ASSERT_TRUE(moved);
  EXPECT_EQ(moved->content, "file of a");
  EXPECT_EQ(moved->mode, 0600U);
  EXPECT_EQ(moved->owner, 7U);
  EXPECT_EQ(moved->attributes["user.note"], "kept");
  EXPECT_FALSE(tree.exists("/a/file"));
}

TEST_F(FileTreesTest, AMoveThatFailsLeavesTheSource) {
  EXPECT_EQ(errorOf(trees.moveFile("/a/file", "/Volumes/system/file")), EROFS);
  EXPECT_EQ(errorOf(trees.moveFile("/a/file", "/missing/file")), ENOENT);
  EXPECT_EQ(errorOf(trees.moveFile("/a/file", "/b/folder")), EISDIR);
  EXPECT_EQ(errorOf(trees.moveFile("/missing", "/b/file")), ENOENT);
  EXPECT_TRUE(tree.exists("/a/file"));
  EXPECT_EQ(tree.contents("/b/file"), "file of b");
}

TEST_F(FileTreesTest, ADeepTreeIsListedWhole) {
  std::vector<std::string> expected;
  std::string path;
  for (int depth = 0; depth < 40; ++depth) {
    path += "a folder with a long name/";
    expected.push_back(path);
  }
  tree.makeFolder("/deep/" + path.substr(0, path.size() - 1));
  EXPECT_EQ(tree.tree("/deep"), expected);
}

TEST_F(FileTreesTest, ATreeIsListedWithoutOtherVolumes) {
  EXPECT_THAT(tree.tree("/a"), ElementsAre("file", "folder/", "folder/file"));
  EXPECT_THAT(tree.tree("/Volumes"), ElementsAre("external/", "preboot/", "system/"));
}

}  // namespace
}  // namespace marrow
