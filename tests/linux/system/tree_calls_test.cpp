// How much is asked of the kernel, which is the same on every machine.
#include "benchmarks/system_calls.h"
#include "host/linux/linux_file_trees.h"
#include "host/linux/tree_removal.h"
#include "tests/contract/system/scratch_folder.h"
#include "tests/linux/system/recorded_log.h"
#include "tests/linux/system/text_files.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <sys/syscall.h>

namespace marrow {

namespace {

constexpr std::uint64_t kFolders = 60;
constexpr std::uint64_t kFilesInFolder = 4;

class TreeCallsTest : public testing::Test {
 protected:
  void makeTree(const std::string& name) const {
    for (std::uint64_t number = 0; number < kFolders; ++number) {
      const std::string place = folder.at(name + '/' + std::to_string(number));
      std::filesystem::create_directories(place);
      for (std::uint64_t file = 0; file < kFilesInFolder; ++file) {
        writeFile(place + '/' + std::to_string(file), "text");
      }
    }
  }

  const ScratchFolder folder{"/var/tmp/marrow-test-XXXXXX"};
};

void check(int result) {
  if (result != 0) {
    throw std::runtime_error("the call failed");
  }
}

// Twice a listing, for the second tells that there is no more. Where two threads remove, neither
// waits for the other at each folder.
TEST_F(TreeCallsTest, ARemovalMakesOneForEachNameAndFourMoreForEachFolder) {
  makeTree("tree");
  auto calls = systemCallsOf([this] { check(removeTree(folder.at("tree"))); });
  EXPECT_EQ(calls[SYS_unlinkat], kFolders * kFilesInFolder + kFolders + 1);
  EXPECT_EQ(calls[SYS_openat2], kFolders + 2);
  EXPECT_EQ(calls[SYS_getdents64], 2 * (kFolders + 1));
  EXPECT_EQ(calls[SYS_fcntl] + calls[SYS_statx] + calls[SYS_newfstatat], 1U);
  EXPECT_LT(calls[SYS_futex], kFolders / 2);
  EXPECT_FALSE(std::filesystem::exists(folder.at("tree")));
}

TEST_F(TreeCallsTest, ASwapFlushesOnceBeforeTheExchangeAndOnceBehindIt) {
  makeTree("staged");
  makeTree("live");
  auto calls = systemCallsOf([this] {
    RecordedLog log;
    WaitWatch waits(log);
    check(LinuxFileTrees(log, waits).swap(folder.at("staged"), folder.at("live")));
  });
  EXPECT_EQ(calls[SYS_syncfs], 1U);
  EXPECT_EQ(calls[SYS_renameat2], 1U);
  EXPECT_EQ(calls[SYS_fsync], 1U);
  EXPECT_EQ(calls[SYS_fdatasync] + calls[SYS_sync], 0U);
}

}  // namespace

}  // namespace marrow
