// That the machine which tests with the label "booted" run on is what they may count on.
#include "host/linux/small_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace marrow {
namespace {

using testing::Contains;
using testing::IsSupersetOf;

std::vector<std::string> wordsOf(const std::string& path, char separator) {
  std::istringstream text(readSmallFile(path).value_or(""));
  std::vector<std::string> words;
  for (std::string word; std::getline(text, word, separator);) {
    words.push_back(word.substr(0, word.find('\n')));
  }
  return words;
}

TEST(BootedMachine, RunsItsTestsAsRoot) { EXPECT_EQ(::geteuid(), 0U); }

TEST(BootedMachine, AsksBpfProgramsWhatIsAllowed) {
  EXPECT_THAT(wordsOf("/sys/kernel/security/lsm", ','), Contains("bpf"));
  EXPECT_EQ(::access("/sys/kernel/btf/vmlinux", R_OK), 0);
}

TEST(BootedMachine, MapsAndEncryptsDevices) {
  EXPECT_EQ(::access("/dev/mapper/control", R_OK | W_OK), 0);
  EXPECT_EQ(::access("/sys/module/dm_crypt", F_OK), 0);
}

TEST(BootedMachine, HasTheVariablesOfItsFirmware) {
  EXPECT_EQ(
      ::access("/sys/firmware/efi/efivars/SecureBoot-8be4df61-93ca-11d2-aa0d-00e098032b8c", R_OK),
      0);
}

TEST(BootedMachine, MakesLoopDevices) { EXPECT_EQ(::access("/dev/loop-control", R_OK | W_OK), 0); }

TEST(BootedMachine, KnowsTheFileSystemsOfAVolume) {
  EXPECT_THAT(wordsOf("/proc/filesystems", '\n'),
              IsSupersetOf({"\text4", "\tbtrfs", "\txfs", "\tvfat", "nodev\toverlay"}));
}

}  // namespace
}  // namespace marrow
