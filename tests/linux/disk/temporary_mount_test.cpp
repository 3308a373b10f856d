#include "tests/linux/disk/linux_disk_test.h"
#include "tests/linux/system/failing_calls.h"

#include <cerrno>
#include <filesystem>
#include <fstream>

namespace marrow {

namespace {

using TemporaryMount = LinuxDiskTest;

TEST_F(TemporaryMount, SaysThatAnEncryptedVolumeCannotBeOpened) {
  const LoopDisk disk({{kDataType, randomUUID()}}, [](const std::string& node) {
    std::ofstream(node + "p1") << std::string("LUKS\xba\xbe\0\1", 8) << std::string(4096, '\0');
  });
  ErrorRef error;
  EXPECT_FALSE(volume(disk.partition(1))->mountAtTemporaryPath({}, &error));
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), EOPNOTSUPP);
  EXPECT_NE(error->description().find("encrypted"), std::string::npos) << error->description();
}

TEST_F(TemporaryMount, SaysThatAVolumeHoldsNoFileSystem) {
  const LoopDisk disk({{kDataType, randomUUID()}});
  ErrorRef error;
  EXPECT_FALSE(volume(disk.partition(1))->mountAtTemporaryPath({}, &error));
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), EINVAL);
  EXPECT_NE(error->description().find(disk.partitionNode(1)), std::string::npos);
  EXPECT_TRUE(std::filesystem::is_empty(folder.at("run/marrow/mnt")));
}

TEST_F(TemporaryMount, SaysWhereNoMountPointCanBeMade) {
  const LoopDisk disk({{kDataType, randomUUID(), "ext4"}});
  std::ofstream(folder.at("run/marrow")) << "a file";
  ErrorRef error;
  EXPECT_FALSE(volume(disk.partition(1))->mountAtTemporaryPath({}, &error));
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), ENOTDIR);
}

// What is asked for read-only and seems to be in use, though nobody has it mounted.
TEST_F(TemporaryMount, IsNotTriedForWritingWhereNobodyElseHasTheVolumeMounted) {
  const LoopDisk disk({{kDataType, randomUUID(), "ext4"}});
  failingCalls = FailingCalls();
  failingCalls.mount = EBUSY;
  ErrorRef error;
  EXPECT_FALSE(volume(disk.partition(1))
                   ->mountAtTemporaryPath({{DVLoamVolumeMountOptionReadOnly, true}}, &error));
  const int attempts = failingCalls.mounts;
  failingCalls = FailingCalls();
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), EBUSY);
  EXPECT_EQ(attempts, 1);
}

}  // namespace

}  // namespace marrow
