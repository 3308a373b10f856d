#include "host/linux/udev_queue.h"

#include "tests/linux/disk/loop_disk.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <gtest/gtest.h>

namespace marrow {

namespace {

namespace fs = std::filesystem;

class UdevQueueTest : public testing::Test {
 protected:
  UdevQueueTest() {
    folder.makeFolder("udev");
    std::ofstream(folder.at("udev/control"));
    std::ofstream(folder.at("udev/queue"));
  }

  std::future<void> startWaiting() {
    return std::async(std::launch::async, [this] { queue.waitUntilEmpty(); });
  }
  static bool hasEnded(const std::future<void>& wait, std::chrono::milliseconds limit) {
    return wait.wait_for(limit) == std::future_status::ready;
  }

  TestFolder folder;
  UdevQueue queue{folder.at("")};
};

constexpr std::chrono::milliseconds kShort{50};
constexpr std::chrono::seconds kLong{10};

TEST_F(UdevQueueTest, IsWaitedForUntilItsFileGoes) {
  const auto wait = startWaiting();
  EXPECT_FALSE(hasEnded(wait, kShort));
  fs::remove(folder.at("udev/queue"));
  EXPECT_TRUE(hasEnded(wait, kLong));
}

TEST_F(UdevQueueTest, IsEmptyWithoutItsFile) {
  fs::remove(folder.at("udev/queue"));
  queue.waitUntilEmpty();
  EXPECT_TRUE(queue.isEmpty());
}

TEST_F(UdevQueueTest, IsEmptyWhereNoUdevListens) {
  fs::remove(folder.at("udev/control"));
  EXPECT_TRUE(queue.isEmpty());
  fs::remove_all(folder.at("udev"));
  queue.waitUntilEmpty();
}

TEST_F(UdevQueueTest, IsWaitedForNoLongerWhenUdevEnds) {
  const auto wait = startWaiting();
  EXPECT_FALSE(hasEnded(wait, kShort));
  fs::remove(folder.at("udev/control"));
  EXPECT_TRUE(hasEnded(wait, kLong));
}

TEST_F(UdevQueueTest, MayFillAgainWhileItIsWaitedFor) {
  const auto wait = startWaiting();
  for (int round = 0; round < 50; ++round) {
    std::ofstream(folder.at("udev/queue"));
    fs::remove(folder.at("udev/queue"));
  }
  EXPECT_TRUE(hasEnded(wait, kLong));
}

TEST_F(UdevQueueTest, IgnoresOtherFilesThatGo) {
  std::ofstream(folder.at("udev/other"));
  const auto wait = startWaiting();
  fs::remove(folder.at("udev/other"));
  EXPECT_FALSE(hasEnded(wait, kShort));
  fs::remove(folder.at("udev/queue"));
  EXPECT_TRUE(hasEnded(wait, kLong));
}

}  // namespace

}  // namespace marrow
