#include "base_system/volume_wait.h"

#include "tests/linux/disk/loop_disk.h"
#include "tests/linux/disk/test_log.h"

#include <algorithm>
#include <cctype>
#include <future>
#include <gtest/gtest.h>

namespace marrow {
namespace {

using std::chrono::milliseconds;

// Long enough for any machine, and short where the wait is to be in vain.
constexpr milliseconds kLong{60000};
constexpr milliseconds kShort{50};

class VolumeWait : public testing::Test {
 protected:
  bool wait(const std::string& wanted, milliseconds limit) {
    return waitForSystemVolume(wanted, limit, log);
  }

  TestLog log;
  std::string group = randomUUID();
};

TEST_F(VolumeWait, FindsAVolumeThatIsThere) {
  const LoopDisk disk({{kDataType, group}, {kSystemType, group}});
  EXPECT_TRUE(wait(group, kLong));
}

TEST_F(VolumeWait, HearsOfADiskThatComesLater) {
  auto found = std::async(std::launch::async, [this] { return wait(group, kLong); });
  EXPECT_EQ(found.wait_for(kShort), std::future_status::timeout);
  const LoopDisk disk({{kSystemType, group}});
  EXPECT_TRUE(found.get());
}

TEST_F(VolumeWait, HearsOfPartitionsThatTheKernelIsToldLater) {
  const LoopDisk disk({{kSystemType, group}});
  disk.removePartitions();
  auto found = std::async(std::launch::async, [this] { return wait(group, kLong); });
  EXPECT_EQ(found.wait_for(kShort), std::future_status::timeout);
  disk.addPartitions();
  EXPECT_TRUE(found.get());
}

TEST_F(VolumeWait, EndsWithoutOneWhenTheTimeIsOver) { EXPECT_FALSE(wait(group, kShort)); }

TEST_F(VolumeWait, TakesNoOtherVolumeForIt) {
  const LoopDisk disk({{kDataType, group}, {kSystemType, randomUUID()}, {kPrebootType, group}});
  EXPECT_FALSE(wait(group, kShort));
}

TEST_F(VolumeWait, ComparesTheGroupExactly) {
  const std::string lower = "abcdef" + group.substr(6);
  std::string upper = lower;
  std::transform(upper.begin(), upper.end(), upper.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  const LoopDisk disk({{kSystemType, lower}});
  EXPECT_TRUE(wait(lower, kLong));
  EXPECT_FALSE(wait(upper, kShort));
}

TEST_F(VolumeWait, AnEmptyGroupIsThatOfNoVolume) {
  const LoopDisk disk({LoopPartition{kSystemType, "no group"}});
  EXPECT_FALSE(wait("", kShort));
}

}  // namespace
}  // namespace marrow
