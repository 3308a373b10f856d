// What becomes of the reports of the mount gate, whose records are made here.
#include "host/linux/mount_attempts.h"

#include "tests/linux/disk/linux_disk_test.h"

#include <algorithm>
#include <unistd.h>

namespace marrow {

namespace {

MountAttemptRecord recordOf(std::uint64_t attempt, const std::string& text) {
  MountAttemptRecord record{};
  record.attempt = attempt;
  record.process = static_cast<std::uint32_t>(::getpid());
  const std::string command = "tester";
  std::copy(command.begin(), command.end(), record.command);
  std::copy_n(text.begin(), std::min<std::size_t>(text.size(), MARROW_SOURCE_SIZE), record.text);
  return record;
}

MountAttemptRecord denialOf(std::uint64_t attempt, const std::string& name) {
  auto record = recordOf(attempt, name);
  record.isDenied = 1;
  return record;
}

class MountAttemptsTest : public LinuxDiskTest {
 protected:
  LoopDisk disk{{{kDataType, randomUUID(), "ext4"}}};
  std::string name = disk.partition(1);
  std::string node = disk.partitionNode(1);
  BlockDevices devices{"/sys", "/dev"};
  MountAttempts attempts{devices, "/proc"};
};

TEST_F(MountAttemptsTest, NamesTheDeviceAndTheProcess) {
  const auto attempt = attempts.attemptOf(recordOf(1, node));
  ASSERT_TRUE(attempt);
  EXPECT_EQ(attempt->device.name, name);
  EXPECT_EQ(attempt->process, "tester (" + std::to_string(::getpid()) + ")");
}

TEST_F(MountAttemptsTest, NamesAProcessWithoutANumberByItsNameAlone) {
  auto record = recordOf(1, node);
  record.process = 0;
  const auto attempt = attempts.attemptOf(record);
  ASSERT_TRUE(attempt);
  EXPECT_EQ(attempt->process, "tester");
}

TEST_F(MountAttemptsTest, TakesANameThatFillsItsRoom) {
  auto record = recordOf(1, node);
  std::fill(std::begin(record.command), std::end(record.command), 'x');
  const auto attempt = attempts.attemptOf(record);
  ASSERT_TRUE(attempt);
  EXPECT_TRUE(attempt->process.starts_with(std::string(16, 'x') + " ("));
}

TEST_F(MountAttemptsTest, CountsADenialWithItsSourceOnce) {
  EXPECT_TRUE(attempts.attemptOf(recordOf(1, node)));
  EXPECT_FALSE(attempts.attemptOf(denialOf(1, name)));
  EXPECT_TRUE(attempts.attemptOf(recordOf(2, node)));
}

TEST_F(MountAttemptsTest, TakesTheDenialWhereTheSourceLedNowhere) {
  EXPECT_FALSE(attempts.attemptOf(recordOf(1, "/dev/no-such-node")));
  EXPECT_TRUE(attempts.attemptOf(denialOf(1, name)));
  EXPECT_FALSE(attempts.attemptOf(denialOf(1, name)));
  EXPECT_TRUE(attempts.attemptOf(denialOf(0, name)));
  EXPECT_TRUE(attempts.attemptOf(denialOf(0, name)));
}

TEST_F(MountAttemptsTest, LooksAPathUpAsTheProcessDoesWhileItIsThere) {
  ChildProcess inside([&] { return ::chdir("/dev") == 0; });
  auto record = recordOf(1, name);
  record.process = static_cast<std::uint32_t>(inside.process());
  EXPECT_TRUE(attempts.attemptOf(record));
  record.attempt = 2;
  inside.kill();
  EXPECT_FALSE(attempts.attemptOf(record));
  record = recordOf(3, node);
  record.process = static_cast<std::uint32_t>(inside.process());
  EXPECT_TRUE(attempts.attemptOf(record));
}

TEST_F(MountAttemptsTest, FindsNoDeviceInWhatIsNone) {
  for (const auto& source : {std::string(), std::string("none"), std::string("/"),
                             std::string("/dev/null"), std::string("UUID=x"), node + "x",
                             "/" + std::string(MARROW_SOURCE_SIZE, 'x'), node + "/x"}) {
    EXPECT_FALSE(attempts.attemptOf(recordOf(1, source))) << source;
  }
  EXPECT_FALSE(attempts.attemptOf(denialOf(1, "no-such-disk")));
  EXPECT_FALSE(attempts.attemptOf(denialOf(1, "..")));
}

}  // namespace

}  // namespace marrow
