#include "host/linux/udev_queue.h"

#include "host/linux/descriptor.h"
#include "tests/linux/disk/loop_disk.h"
#include "tests/linux/disk/test_log.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>

namespace marrow {

namespace {

namespace fs = std::filesystem;

// How often the watch looks at waits.
constexpr std::chrono::milliseconds kOften{10};

class UdevQueueTest : public testing::Test {
 protected:
  UdevQueueTest() {
    folder.makeFolder("udev");
    listen();
    std::ofstream(folder.at("udev/queue"));
  }

  // As udev does.
  void listen() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    folder.at("udev/control").copy(address.sun_path, sizeof(address.sun_path) - 1);
    control = Descriptor(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    ASSERT_EQ(::bind(control.number(), reinterpret_cast<sockaddr*>(&address),  // NOLINT
                     sizeof(address)),
              0);
    ASSERT_EQ(::listen(control.number(), 0), 0);
  }

  // Its files stay.
  void killUdev() { control.reset(); }

  std::future<void> startWaiting() {
    return std::async(std::launch::async, [this] { queue.waitUntilEmpty(); });
  }
  static bool hasEnded(const std::future<void>& wait, std::chrono::milliseconds limit) {
    return wait.wait_for(limit) == std::future_status::ready;
  }

  TestFolder folder;
  Descriptor control;
  TestLog log;
  WaitWatch waits{log, kOften};
  UdevQueue queue{folder.path(), "/proc", waits};
};

constexpr std::chrono::milliseconds kShort{50};
constexpr std::chrono::seconds kLong{10};

TEST_F(UdevQueueTest, IsWaitedForUntilItsFileGoes) {
  const auto wait = startWaiting();
  EXPECT_FALSE(hasEnded(wait, kShort));
  fs::remove(folder.at("udev/queue"));
  EXPECT_TRUE(hasEnded(wait, kLong));
}

TEST_F(UdevQueueTest, TellsTheLogForWhatItWaits) {
  const auto wait = startWaiting();
  const auto deadline = std::chrono::steady_clock::now() + kLong;
  const std::string words = "Waiting for udev to deal with its events (" + folder.at("udev/queue");
  while (!log.has(words) && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(kOften);
  }
  EXPECT_TRUE(log.has(words));
  EXPECT_FALSE(hasEnded(wait, kShort));
  fs::remove(folder.at("udev/queue"));
  wait.wait();
  EXPECT_TRUE(log.has("Waited for udev to deal with its events"));
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

TEST_F(UdevQueueTest, IsEmptyWhereUdevWasKilledAndItsFilesAreLeft) {
  EXPECT_FALSE(queue.isEmpty());
  killUdev();
  ASSERT_TRUE(fs::exists(folder.at("udev/control")));
  EXPECT_TRUE(queue.isEmpty());
  queue.waitUntilEmpty();
}

TEST_F(UdevQueueTest, IsWaitedForNoLongerWhenUdevIsKilled) {
  const auto wait = startWaiting();
  EXPECT_FALSE(hasEnded(wait, kShort));
  killUdev();
  EXPECT_TRUE(hasEnded(wait, kLong));
}

TEST_F(UdevQueueTest, IsWaitedForAgainWhenUdevWasStartedAnew) {
  killUdev();
  fs::remove(folder.at("udev/control"));
  listen();
  const auto wait = startWaiting();
  EXPECT_FALSE(hasEnded(wait, kShort));
  fs::remove(folder.at("udev/queue"));
  EXPECT_TRUE(hasEnded(wait, kLong));
}

TEST_F(UdevQueueTest, IsEmptyWhereAnotherProgramsFileStandsForTheSocket) {
  killUdev();
  fs::remove(folder.at("udev/control"));
  std::ofstream(folder.at("udev/control"));
  EXPECT_TRUE(queue.isEmpty());
}

TEST_F(UdevQueueTest, CountsTheSocketsFileWhereTheKernelShowsNoSockets) {
  const UdevQueue blind(folder.path(), folder.makeFolder("proc"), waits);
  EXPECT_FALSE(blind.isEmpty());
  fs::remove(folder.at("udev/control"));
  EXPECT_TRUE(blind.isEmpty());
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
