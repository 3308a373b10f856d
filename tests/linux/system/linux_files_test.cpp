// What others have put where the daemon writes a file or flushes a folder.
#include "host/linux/linux_files.h"

#include "tests/contract/system/scratch_folder.h"
#include "tests/linux/system/recorded_log.h"
#include "tests/linux/system/text_files.h"

#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace marrow {

namespace {

namespace fs = std::filesystem;

constexpr OpenFlags kWriting = OpenFlags::writeOnly | OpenFlags::create | OpenFlags::truncate |
                               OpenFlags::nonBlocking | OpenFlags::noLinks;

class LinuxFilesTest : public testing::Test {
 protected:
  // 0, or the errno value.
  int writeNew(const std::string& path) {
    const int file = files.open(path, kWriting);
    if (file < 0) {
      return errno;
    }
    EXPECT_EQ(files.write(file, "new"), 3);
    EXPECT_EQ(files.close(file), 0);
    return 0;
  }

  ScratchFolder folder;
  RecordedLog log;
  WaitWatch waits{log};
  LinuxFiles files{waits};
};

TEST_F(LinuxFilesTest, LeavesAFileAloneThatHasAnotherNameAsWell) {
  writeFile(folder.at("other"), "text");
  fs::create_hard_link(folder.at("other"), folder.at("file"));
  EXPECT_EQ(writeNew(folder.at("file")), 0);
  EXPECT_EQ(fileText(folder.at("other")), "text");
  EXPECT_EQ(fileText(folder.at("file")), "new");
}

// The device is one that drops what it is given: a mistake would do no harm.
TEST_F(LinuxFilesTest, PutsAFileInThePlaceOfADevice) {
  ASSERT_EQ(::mknod(folder.at("file").c_str(), S_IFCHR | 0600, makedev(1, 3)), 0);
  EXPECT_EQ(writeNew(folder.at("file")), 0);
  EXPECT_TRUE(fs::is_regular_file(folder.at("file")));
  EXPECT_EQ(fileText(folder.at("file")), "new");
}

TEST_F(LinuxFilesTest, LeavesAFolderWhereItIs) {
  fs::create_directories(folder.at("file/kept"));
  EXPECT_EQ(writeNew(folder.at("file")), EISDIR);
  EXPECT_TRUE(fs::exists(folder.at("file/kept")));
}

TEST_F(LinuxFilesTest, DoesNotWaitForTheOtherEndOfAFIFO) {
  ASSERT_EQ(::mkfifo(folder.at("fifo").c_str(), 0600), 0);
  const int fifo = files.open(folder.at("fifo"),
                              OpenFlags::readOnly | OpenFlags::nonBlocking | OpenFlags::noLinks);
  ASSERT_GE(fifo, 0);
  EXPECT_EQ(files.fullSync(fifo), -1);
  EXPECT_EQ(files.close(fifo), 0);
}

}  // namespace

}  // namespace marrow
