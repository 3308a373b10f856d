#include "host/linux/linux_temporary_directory.h"

#include "tests/contract/system/scratch_folder.h"
#include "tests/linux/system/loop_mount.h"
#include "tests/linux/system/recorded_log.h"
#include "tests/linux/system/text_files.h"

#include <filesystem>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace marrow {

namespace {

namespace fs = std::filesystem;

class LinuxTemporaryDirectoryTest : public testing::Test {
 protected:
  void expectOwn() const {
    struct stat status {};
    ASSERT_EQ(::lstat(path.c_str(), &status), 0);
    EXPECT_TRUE(S_ISDIR(status.st_mode));
    EXPECT_EQ(status.st_mode & 07777U, 0700U);
    EXPECT_EQ(status.st_uid, ::geteuid());
  }

  const ScratchFolder folder;
  const std::string path = folder.at("run/marrow/tmp");
  RecordedLog log;
  LinuxTemporaryDirectory directory{log, path};
};

TEST_F(LinuxTemporaryDirectoryTest, IsMadeOnFirstUse) {
  EXPECT_FALSE(fs::exists(folder.at("run")));
  EXPECT_EQ(directory.path(), path);
  expectOwn();
}

TEST_F(LinuxTemporaryDirectoryTest, UsesADirectoryOfOurOwnThatIsThere) {
  fs::create_directories(path);
  writeFile(path + "/kept", "text");
  EXPECT_EQ(directory.path(), path);
  expectOwn();
  EXPECT_EQ(fileText(path + "/kept"), "text");
}

TEST_F(LinuxTemporaryDirectoryTest, ReplacesALinkAndLeavesItsTargetAlone) {
  fs::create_directories(folder.at("run/marrow"));
  fs::create_directories(folder.at("elsewhere/kept"));
  fs::create_directory_symlink(folder.at("elsewhere"), path);
  EXPECT_EQ(directory.path(), path);
  expectOwn();
  EXPECT_TRUE(fs::exists(folder.at("elsewhere/kept")));
}

TEST_F(LinuxTemporaryDirectoryTest, ReplacesAFileAndWhatSomebodyElseOwns) {
  fs::create_directories(folder.at("run/marrow"));
  writeFile(path, "text");
  EXPECT_EQ(directory.path(), path);
  expectOwn();
  fs::remove(path);
  fs::create_directories(path + "/planted");
  ASSERT_EQ(::chown(path.c_str(), 12, 34), 0);
  LinuxTemporaryDirectory second(log, path);
  EXPECT_EQ(second.path(), path);
  expectOwn();
  EXPECT_TRUE(fs::is_empty(path));
}

TEST_F(LinuxTemporaryDirectoryTest, LeadsNowhereWhenWhatIsThereStays) {
  enterPrivateMounts();
  fs::create_directories(path);
  ASSERT_EQ(::mount("tmpfs", path.c_str(), "tmpfs", 0, "uid=12"), 0);
  EXPECT_EQ(directory.path(), path + ".refused");
  EXPECT_FALSE(fs::exists(path + ".refused"));
  EXPECT_EQ(log.texts().size(), 1U);
  ASSERT_EQ(::umount(path.c_str()), 0);
  EXPECT_EQ(directory.path(), path);
  expectOwn();
}

TEST_F(LinuxTemporaryDirectoryTest, NamesItsPathAlsoWhenItCannotBeMade) {
  writeFile(folder.at("run"), "a file in the way");
  EXPECT_EQ(directory.path(), path);
  EXPECT_EQ(log.texts(), std::vector<std::string>{"Cannot make the temporary directory " + path +
                                                  ": Not a directory"});
}

}  // namespace

}  // namespace marrow
