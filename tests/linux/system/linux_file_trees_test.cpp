#include "host/linux/linux_file_trees.h"

#include "tests/contract/system/scratch_folder.h"
#include "tests/linux/system/failing_calls.h"
#include "tests/linux/system/loop_mount.h"
#include "tests/linux/system/recorded_log.h"
#include "tests/linux/system/text_files.h"

#include <array>
#include <cerrno>
#include <filesystem>
#include <string>
#include <sys/xattr.h>

namespace marrow {

namespace {

namespace fs = std::filesystem;

constexpr char kMark[] = "trusted.marrow.superseded";

class FileTreesOnEachFileSystem : public testing::TestWithParam<const char*> {
 protected:
  LoopMount volume{GetParam()};
  RecordedLog log;
  WaitWatch waits{log};
  LinuxFileTrees trees{log, waits};
};
std::string nameOfFileSystem(const testing::TestParamInfo<const char*>& info) { return info.param; }
INSTANTIATE_TEST_SUITE_P(FileSystems, FileTreesOnEachFileSystem,
                         testing::Values("ext4", "btrfs", "xfs", "tmpfs"), nameOfFileSystem);

TEST_P(FileTreesOnEachFileSystem, SwapsTwoTrees) {
  fs::create_directories(volume.at("staged/folder"));
  fs::create_directories(volume.at("live"));
  writeFile(volume.at("staged/folder/file"), "new");
  writeFile(volume.at("live/file"), "old");
  EXPECT_EQ(trees.swap(volume.at("staged"), volume.at("live")), 0);
  EXPECT_EQ(fileText(volume.at("live/folder/file")), "new");
  EXPECT_EQ(fileText(volume.at("staged/file")), "old");
  EXPECT_FALSE(fs::exists(volume.at("live/file")));
}

TEST_P(FileTreesOnEachFileSystem, SwapsAcrossFolders) {
  fs::create_directories(volume.at("a/staged"));
  fs::create_directories(volume.at("b/live"));
  writeFile(volume.at("a/staged/file"), "new");
  EXPECT_EQ(trees.swap(volume.at("a/staged"), volume.at("b/live/")), 0);
  EXPECT_EQ(fileText(volume.at("b/live/file")), "new");
  EXPECT_TRUE(fs::is_empty(volume.at("a/staged")));
}

TEST_P(FileTreesOnEachFileSystem, RenamesAStagedFileOverTheLiveOne) {
  writeFile(volume.at("live.staged"), "new");
  writeFile(volume.at("live"), "old");
  EXPECT_EQ(trees.rename(volume.at("live.staged"), volume.at("live")), 0);
  EXPECT_EQ(fileText(volume.at("live")), "new");
  EXPECT_FALSE(fs::exists(volume.at("live.staged")));
}

TEST_P(FileTreesOnEachFileSystem, RemovesATree) {
  fs::create_directories(volume.at("tree/a/b/c"));
  for (int number = 0; number < 500; ++number) {
    writeFile(volume.at("tree/a/file" + std::to_string(number)), "text");
  }
  EXPECT_EQ(trees.removeRecursively(volume.at("tree")), 0);
  EXPECT_FALSE(fs::exists(volume.at("tree")));
}

TEST_P(FileTreesOnEachFileSystem, MovesAFileFromAnotherFileSystem) {
  const ScratchFolder elsewhere;
  writeFile(elsewhere.at("log"), std::string(3 << 20, 'x'));
  EXPECT_EQ(trees.moveFile(elsewhere.at("log"), volume.at("log")), 0);
  EXPECT_EQ(fileText(volume.at("log")).size(), 3U << 20U);
  EXPECT_FALSE(fs::exists(elsewhere.at("log")));
}

// The mark of a folder; empty when it has none.
std::string markOf(const std::string& path) {
  std::array<char, 64> value{};
  const ssize_t size = ::getxattr(path.c_str(), kMark, value.data(), value.size());
  return size < 0 ? "" : std::string(value.data(), static_cast<std::size_t>(size));
}
void setMark(const std::string& path, const std::string& mark) {
  EXPECT_EQ(::setxattr(path.c_str(), kMark, mark.data(), mark.size(), 0), 0) << path;
}

TEST_P(FileTreesOnEachFileSystem, KnowsTheOldTreeByItsMarkButNotACopyOfIt) {
  fs::create_directories(volume.at("staged"));
  fs::create_directories(volume.at("live"));
  writeFile(volume.at("live/file"), "old");
  ASSERT_EQ(trees.swap(volume.at("staged"), volume.at("live")), 0);
  EXPECT_EQ(trees.swap(volume.at("staged"), volume.at("live")), 0);
  EXPECT_TRUE(fs::is_empty(volume.at("live")));
  const std::string mark = markOf(volume.at("staged"));
  EXPECT_NE(mark, "");
  fs::copy(volume.at("staged"), volume.at("copy"), fs::copy_options::recursive);
  setMark(volume.at("copy"), mark);
  EXPECT_EQ(trees.swap(volume.at("copy"), volume.at("live")), 0);
  EXPECT_EQ(fileText(volume.at("live/file")), "old");
  EXPECT_TRUE(fs::is_empty(volume.at("copy")));
}

class LinuxFileTreesTest : public testing::Test {
 protected:
  ~LinuxFileTreesTest() override { failingCalls = FailingCalls(); }

  void stageFolders() const {
    fs::create_directories(folder.at("staged"));
    fs::create_directories(folder.at("live"));
    writeFile(folder.at("staged/file"), "new");
    writeFile(folder.at("live/file"), "old");
  }
  void expectNothingMoved() const {
    EXPECT_EQ(fileText(folder.at("live/file")), "old");
    EXPECT_EQ(fileText(folder.at("staged/file")), "new");
  }

  const ScratchFolder folder;
  RecordedLog log;
  WaitWatch waits{log};
  LinuxFileTrees trees{log, waits};
};

TEST_F(LinuxFileTreesTest, FlushesWhatIsStagedAndTheFolderAroundASwap) {
  stageFolders();
  failingCalls = FailingCalls();
  EXPECT_EQ(trees.swap(folder.at("staged"), folder.at("live")), 0);
  EXPECT_EQ(failingCalls.syncfses, 1);
  EXPECT_EQ(failingCalls.exchanges, 1);
  EXPECT_EQ(failingCalls.fsyncs, 1);
}

TEST_F(LinuxFileTreesTest, FlushesTheStagedFileAndBothFoldersAroundARename) {
  fs::create_directories(folder.at("a"));
  fs::create_directories(folder.at("b"));
  writeFile(folder.at("a/staged"), "new");
  failingCalls = FailingCalls();
  EXPECT_EQ(trees.rename(folder.at("a/staged"), folder.at("b/live")), 0);
  EXPECT_EQ(failingCalls.fsyncs, 3);
}

TEST_F(LinuxFileTreesTest, SwapsNothingWhenWhatIsStagedCannotBeFlushed) {
  stageFolders();
  failingCalls.syncfs = EIO;
  errno = 0;
  EXPECT_EQ(trees.swap(folder.at("staged"), folder.at("live")), -1);
  EXPECT_EQ(errno, EIO);
  expectNothingMoved();
}

TEST_F(LinuxFileTreesTest, RenamesNothingWhenTheStagedFileCannotBeFlushed) {
  writeFile(folder.at("staged"), "new");
  writeFile(folder.at("live"), "old");
  failingCalls.fsync = ENOSPC;
  errno = 0;
  EXPECT_EQ(trees.rename(folder.at("staged"), folder.at("live")), -1);
  EXPECT_EQ(errno, ENOSPC);
  EXPECT_EQ(fileText(folder.at("live")), "old");
}

TEST_F(LinuxFileTreesTest, FailsWithOneErrorWhereTheFileSystemCannotSwap) {
  stageFolders();
  for (const int number : {EINVAL, ENOSYS, EOPNOTSUPP}) {
    failingCalls.renameExchange = number;
    errno = 0;
    EXPECT_EQ(trees.swap(folder.at("staged"), folder.at("live")), -1);
    EXPECT_EQ(errno, EINVAL);
    expectNothingMoved();
  }
}

TEST_F(LinuxFileTreesTest, SwapsBackWhenTheFolderCannotBeFlushed) {
  stageFolders();
  failingCalls.fsync = EIO;
  errno = 0;
  EXPECT_EQ(trees.swap(folder.at("staged"), folder.at("live")), -1);
  EXPECT_EQ(errno, EIO);
  EXPECT_EQ(failingCalls.exchanges, 2);
  expectNothingMoved();
}

TEST_F(LinuxFileTreesTest, FlushesTheFileSystemWhereAFolderAloneCannotBeFlushed) {
  stageFolders();
  failingCalls.fsync = EINVAL;
  EXPECT_EQ(trees.swap(folder.at("staged"), folder.at("live")), 0);
  EXPECT_EQ(failingCalls.syncfses, 2);
  EXPECT_EQ(fileText(folder.at("live/file")), "new");
}

// Inode numbers are given out again: a tree that has the old one's number is another tree.
TEST_F(LinuxFileTreesTest, SwapsInATreeWhoseMarkNamesAnotherBirth) {
  stageFolders();
  ASSERT_EQ(trees.swap(folder.at("staged"), folder.at("live")), 0);
  const std::string mark = markOf(folder.at("staged"));
  ASSERT_NE(mark.find(' '), std::string::npos) << mark;
  setMark(folder.at("staged"), mark.substr(0, mark.find(' ')) + " 1.5");
  EXPECT_EQ(trees.swap(folder.at("staged"), folder.at("live")), 0);
  EXPECT_EQ(fileText(folder.at("live/file")), "old");
}

TEST_F(LinuxFileTreesTest, SwapsNoFolderWithOneInsideIt) {
  fs::create_directories(folder.at("live/inside"));
  errno = 0;
  EXPECT_EQ(trees.swap(folder.at("live"), folder.at("live/inside")), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_TRUE(fs::exists(folder.at("live/inside")));
}

TEST_F(LinuxFileTreesTest, SwapsAndRenamesNothingAcrossFileSystems) {
  const LoopMount volume("tmpfs");
  stageFolders();
  fs::create_directories(volume.at("live"));
  errno = 0;
  EXPECT_EQ(trees.swap(folder.at("staged"), volume.at("live")), -1);
  EXPECT_EQ(errno, EXDEV);
  errno = 0;
  EXPECT_EQ(trees.rename(folder.at("staged/file"), volume.at("file")), -1);
  EXPECT_EQ(errno, EXDEV);
  expectNothingMoved();
}

TEST_F(LinuxFileTreesTest, FailsForAnEmptyPath) {
  for (const auto& call :
       {&LinuxFileTrees::rename, &LinuxFileTrees::swap, &LinuxFileTrees::moveFile}) {
    errno = 0;
    EXPECT_EQ((trees.*call)("", folder.at("live")), -1);
    EXPECT_EQ(errno, ENOENT);
  }
  errno = 0;
  EXPECT_EQ(trees.removeRecursively(""), -1);
  EXPECT_EQ(errno, ENOENT);
}

}  // namespace

}  // namespace marrow
