#include "host/linux/linux_file_trees.h"
#include "tests/contract/system/scratch_folder.h"
#include "tests/linux/system/failing_calls.h"
#include "tests/linux/system/loop_mount.h"
#include "tests/linux/system/recorded_log.h"
#include "tests/linux/system/text_files.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <string_view>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace marrow {

namespace {

namespace fs = std::filesystem;

std::map<std::string, std::string> attributesOf(const std::string& path) {
  std::array<char, 4096> names{};
  const ssize_t size = ::llistxattr(path.c_str(), names.data(), names.size());
  EXPECT_GE(size, 0);
  std::map<std::string, std::string> found;
  for (std::string_view rest(names.data(), static_cast<std::size_t>(size)); !rest.empty();) {
    const std::string name(rest.data());
    rest.remove_prefix(name.size() + 1);
    std::array<char, 4096> value{};
    const ssize_t length = ::lgetxattr(path.c_str(), name.c_str(), value.data(), value.size());
    EXPECT_GE(length, 0) << name;
    found[name] = std::string(value.data(), static_cast<std::size_t>(length));
  }
  return found;
}

// The form of system.posix_acl_access (include/uapi/linux/posix_acl_xattr.h).
struct AccessEntry {
  std::uint16_t tag;
  std::uint16_t permissions;
  std::uint32_t id;
};
struct AccessList {
  std::uint32_t version = 2;
  std::array<AccessEntry, 6> entries = {{{0x01, 7, ~0U},    // the owner
                                         {0x02, 6, 99},     // user 99
                                         {0x04, 5, ~0U},    // the group
                                         {0x08, 4, 98},     // group 98
                                         {0x10, 7, ~0U},    // the most that all but the owner get
                                         {0x20, 1, ~0U}}};  // everybody else
};

void setAccessList(const std::string& path) {
  const AccessList list;
  EXPECT_EQ(::setxattr(path.c_str(), "system.posix_acl_access", &list, sizeof(list), 0), 0);
}

struct stat statusOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
  return status;
}

bool isSameTime(const timespec& left, const timespec& right) {
  return left.tv_sec == right.tv_sec && left.tv_nsec == right.tv_nsec;
}

class LinuxFileMoveTest : public testing::Test {
 protected:
  ~LinuxFileMoveTest() override { failingCalls = FailingCalls(); }

  const ScratchFolder folder{"/var/tmp/marrow-test-XXXXXX"};
  RecordedLog log;
  WaitWatch waits{log};
  LinuxFileTrees trees{log, waits};
};

TEST_F(LinuxFileMoveTest, TakesEverythingThatBelongsToTheFileAlong) {
  const LoopMount volume("ext4");
  const std::string source = folder.at("log");
  writeFile(source, "text");
  ASSERT_EQ(::chown(source.c_str(), 12, 34), 0);
  ASSERT_EQ(::chmod(source.c_str(), 04751), 0);
  ASSERT_EQ(::setxattr(source.c_str(), "user.empty", "", 0, 0), 0);
  ASSERT_EQ(::setxattr(source.c_str(), "user.bytes", "a\0b", 3, 0), 0);
  ASSERT_EQ(::setxattr(source.c_str(), "trusted.mark", "yes", 3, 0), 0);
  setAccessList(source);
  const std::array<timespec, 2> times = {timespec{1000000000, 123456789},
                                         timespec{1700000000, 987654321}};
  ASSERT_EQ(::utimensat(AT_FDCWD, source.c_str(), times.data(), 0), 0);
  const auto attributes = attributesOf(source);
  const struct stat before = statusOf(source);
  ASSERT_EQ(attributes.size(), 4U);

  EXPECT_EQ(trees.moveFile(source, volume.at("log")), 0);
  const struct stat after = statusOf(volume.at("log"));
  EXPECT_EQ(after.st_uid, 12U);
  EXPECT_EQ(after.st_gid, 34U);
  EXPECT_EQ(after.st_mode, before.st_mode);
  EXPECT_TRUE(isSameTime(after.st_atim, times[0]));
  EXPECT_TRUE(isSameTime(after.st_mtim, times[1]));
  EXPECT_EQ(attributesOf(volume.at("log")), attributes);
  EXPECT_TRUE(log.texts().empty());
}

TEST_F(LinuxFileMoveTest, TellsWhatTheDestinationHasNoRoomFor) {
  const std::string source = folder.at("log");
  writeFile(source, "text");
  ASSERT_EQ(::setxattr(source.c_str(), "user.mark", "yes", 3, 0), 0);
  enterPrivateMounts();
  // A file system without extended attributes of users.
  ASSERT_EQ(
      std::system(
          ("mkdir " + folder.at("ram") + " && mount -t ramfs ramfs " + folder.at("ram")).c_str()),
      0);
  EXPECT_EQ(trees.moveFile(source, folder.at("ram/log")), 0);
  EXPECT_EQ(fileText(folder.at("ram/log")), "text");
  EXPECT_EQ(log.texts(),
            std::vector<std::string>{
                "Left out of a copied file: attribute user.mark (Operation not supported)"});
  EXPECT_EQ(std::system(("umount " + folder.at("ram")).c_str()), 0);
}

TEST_F(LinuxFileMoveTest, KeepsTheOldDestinationWhenTheDiskIsFull) {
  const LoopMount volume("tmpfs");
  ASSERT_EQ(std::system(("mount -o remount,size=1m " + volume.path()).c_str()), 0);
  writeFile(volume.at("log"), "old");
  writeFile(folder.at("log"), std::string(2 << 20, 'x'));
  errno = 0;
  EXPECT_EQ(trees.moveFile(folder.at("log"), volume.at("log")), -1);
  EXPECT_EQ(errno, ENOSPC);
  EXPECT_EQ(fileText(volume.at("log")), "old");
  EXPECT_EQ(std::distance(fs::directory_iterator(volume.path()), fs::directory_iterator()), 1);
  EXPECT_TRUE(fs::exists(folder.at("log")));
}

TEST_F(LinuxFileMoveTest, KeepsBothFilesWhenTheCopyCannotBeFlushed) {
  writeFile(folder.at("log"), "new");
  writeFile(folder.at("moved"), "old");
  failingCalls.fsync = EIO;
  errno = 0;
  EXPECT_EQ(trees.moveFile(folder.at("log"), folder.at("moved")), -1);
  EXPECT_EQ(errno, EIO);
  EXPECT_EQ(fileText(folder.at("moved")), "old");
  EXPECT_EQ(fileText(folder.at("log")), "new");
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()), 2);
}

TEST_F(LinuxFileMoveTest, LosesNothingWhenSourceAndDestinationAreTheSame) {
  writeFile(folder.at("log"), "text");
  EXPECT_EQ(trees.moveFile(folder.at("log"), folder.at("log")), 0);
  EXPECT_EQ(fileText(folder.at("log")), "text");
  fs::create_directory(folder.at("here"));
  EXPECT_EQ(trees.moveFile(folder.at("log"), folder.at("here/../log")), 0);
  EXPECT_EQ(fileText(folder.at("log")), "text");
}

TEST_F(LinuxFileMoveTest, MovesOneOfTwoNamesOfAFileOverTheOther) {
  writeFile(folder.at("log"), "text");
  fs::create_hard_link(folder.at("log"), folder.at("moved"));
  EXPECT_EQ(trees.moveFile(folder.at("log"), folder.at("moved")), 0);
  EXPECT_EQ(fileText(folder.at("moved")), "text");
  EXPECT_FALSE(fs::exists(folder.at("log")));
}

TEST_F(LinuxFileMoveTest, RefusesALinkAndWhatIsNoFile) {
  writeFile(folder.at("secret"), "text");
  fs::create_symlink(folder.at("secret"), folder.at("link"));
  fs::create_directory(folder.at("folder"));
  ASSERT_EQ(::mkfifo(folder.at("fifo").c_str(), 0600), 0);
  errno = 0;
  EXPECT_EQ(trees.moveFile(folder.at("link"), folder.at("moved")), -1);
  EXPECT_EQ(errno, ELOOP);
  for (const char* name : {"folder", "fifo"}) {
    errno = 0;
    EXPECT_EQ(trees.moveFile(folder.at(name), folder.at("moved")), -1);
    EXPECT_EQ(errno, EINVAL);
  }
  EXPECT_FALSE(fs::exists(folder.at("moved")));
}

TEST_F(LinuxFileMoveTest, ReplacesALinkAtTheDestinationAndNotItsTarget) {
  writeFile(folder.at("target"), "kept");
  fs::create_symlink(folder.at("target"), folder.at("moved"));
  writeFile(folder.at("log"), "text");
  EXPECT_EQ(trees.moveFile(folder.at("log"), folder.at("moved")), 0);
  EXPECT_FALSE(fs::is_symlink(folder.at("moved")));
  EXPECT_EQ(fileText(folder.at("target")), "kept");
}

TEST_F(LinuxFileMoveTest, MovesAFileWithALongName) {
  const std::string name(255, 'n');
  writeFile(folder.at(name), "text");
  const ScratchFolder other;
  EXPECT_EQ(trees.moveFile(folder.at(name), other.at(name)), 0);
  EXPECT_EQ(fileText(other.at(name)), "text");
}

TEST_F(LinuxFileMoveTest, TakesThePlaceOfWhatACutRunLeftBehind) {
  const ScratchFolder other;
  writeFile(other.at(".marrow-log"), "the beginning of a lo");
  writeFile(folder.at("log"), "text");
  EXPECT_EQ(trees.moveFile(folder.at("log"), other.at("log")), 0);
  EXPECT_EQ(fileText(other.at("log")), "text");
  EXPECT_FALSE(fs::exists(other.at(".marrow-log")));
}

TEST_F(LinuxFileMoveTest, MovesAnEmptyFile) {
  writeFile(folder.at("log"), "");
  EXPECT_EQ(trees.moveFile(folder.at("log"), folder.at("moved")), 0);
  EXPECT_EQ(fileText(folder.at("moved")), "");
}

}  // namespace

}  // namespace marrow
