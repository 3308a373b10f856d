#include "tests/linux/disk/linux_disk_test.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <future>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

namespace marrow {

namespace {

// The calls of the newer mount interface, as fsopen(2) has them. 0, or the errno of making the
// superblock.
int createThroughFsconfig(const std::string& node, const std::string& type) {
  const int context = ::fsopen(type.c_str(), FSOPEN_CLOEXEC);
  EXPECT_GE(context, 0);
  EXPECT_EQ(::fsconfig(context, FSCONFIG_SET_STRING, "source", node.c_str(), 0), 0);
  const int error = ::fsconfig(context, FSCONFIG_CMD_CREATE, nullptr, nullptr, 0) == 0 ? 0 : errno;
  ::close(context);
  return error;
}

// A mount tried from a mount namespace of its own.
int mountElsewhere(const std::string& node, const std::string& target, const std::string& type) {
  const pid_t child = ::fork();
  if (child == 0) {
    ::_exit(::unshare(CLONE_NEWNS) == 0 ? mountNode(node, target, type) : 255);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return WEXITSTATUS(status);
}

std::string firstBytes(const std::string& node) {
  std::string bytes(std::size_t{256} << 10U, '\0');
  const int device = ::open(node.c_str(), O_RDONLY | O_CLOEXEC);
  EXPECT_EQ(::read(device, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  ::close(device);
  return bytes;
}

class ClaimOn : public LinuxDiskTest, public testing::WithParamInterface<const char*> {
 protected:
  std::string type = GetParam();
  LoopDisk disk{{{kDataType, randomUUID(), type, mebibytesFor(type)}}};
  std::string name = disk.partition(1);
  std::string node = disk.partitionNode(1);

  void expectRefused() {
    EXPECT_EQ(tryMount(node, type), EBUSY);
    EXPECT_EQ(tryMount(node, type, MS_RDONLY), EBUSY);
    EXPECT_EQ(createThroughFsconfig(node, type), EBUSY);
    EXPECT_EQ(mountElsewhere(node, place, type), EBUSY);
    EXPECT_NE(::system(("mount " + node + " " + place + " 2>/dev/null").c_str()), 0);
    EXPECT_TRUE(mountTargets(node).empty());
  }
};
INSTANTIATE_TEST_SUITE_P(FileSystems, ClaimOn, testing::Values("ext4", "btrfs", "xfs"),
                         nameOfFileSystem);

TEST_P(ClaimOn, RefusesEveryKindOfMountAndLeavesTheDeviceUntouched) {
  const auto before = firstBytes(node);
  const auto session = refuse({disk.name()});
  expectRefused();
  EXPECT_EQ(firstBytes(node), before);
}

TEST_P(ClaimOn, IsLentToOurOwnMountAndTakenBack) {
  const auto session = refuse({disk.name()});
  for (int round = 0; round < 3; ++round) {
    ErrorRef error;
    const auto path = volume(name)->mountAtTemporaryPath({}, &error);
    ASSERT_TRUE(path) << error->description();
    EXPECT_EQ(volume(name)->mountPoint(), path);
    EXPECT_TRUE(volume(name)->unmount({}, &error)) << error->description();
    expectRefused();
  }
}

TEST_P(ClaimOn, FollowsTheUnmountOfAVolumeThatWasMountedBefore) {
  ASSERT_EQ(tryMount(node, type), 0);
  const auto session = refuse({disk.name()});
  ASSERT_EQ(openExclusively(node), EBUSY);
  ASSERT_EQ(::umount2(place.c_str(), 0), 0);
  EXPECT_TRUE(waitUntil([&] { return log.has("claimed " + name); }));
  expectRefused();
}

TEST_P(ClaimOn, FollowsTheHandOverOfAVolumeThatWasMountedBefore) {
  ASSERT_EQ(tryMount(node, type), 0);
  const auto session = refuse({disk.name()});
  const auto path = volume(name)->mountAtTemporaryPath({}, nullptr);
  ASSERT_TRUE(path);
  EXPECT_TRUE(volume(name)->unmount({}, nullptr));
  EXPECT_EQ(mountTargets(node).size(), 1U);
  EXPECT_TRUE(volume(name)->unmount({{DVLoamVolumeUnmountOptionAll, true}}, nullptr));
  expectRefused();
}

using Claims = LinuxDiskTest;

TEST_F(Claims, AreGoneAfterUnscheduling) {
  const LoopDisk disk({{kDataType, randomUUID(), "ext4"}, {kUpdateType, "u", "ext4"}});
  const auto session = refuse({disk.name()});
  EXPECT_EQ(openExclusively(disk.partitionNode(1)), EBUSY);
  EXPECT_EQ(openExclusively(disk.partitionNode(2)), EBUSY);
  session->setQueue(nullptr);
  EXPECT_EQ(openExclusively(disk.partitionNode(1)), 0);
  EXPECT_EQ(openExclusively(disk.partitionNode(2)), 0);
}

TEST_F(Claims, AreGoneAfterTheProcessWasKilled) {
  const LoopDisk disk({{kDataType, randomUUID(), "ext4"}});
  ChildProcess daemon([&] {
    static TestLog childLog;
    static LinuxTaskQueues childQueues;
    static LinuxDisks childDisks(childLog);
    static const auto session = makeRefusingSession(childDisks, {disk.name()});
    session->setQueue(childQueues.createSerialQueue("child"));
    return true;
  });
  ASSERT_EQ(openExclusively(disk.partitionNode(1)), EBUSY);
  daemon.kill();
  EXPECT_EQ(openExclusively(disk.partitionNode(1)), 0);
}

TEST_F(Claims, CoverPartitionsThatAppearLater) {
  const LoopDisk disk({{kDataType, randomUUID(), "ext4"}});
  disk.removePartitions();
  const auto session = refuse({disk.name()});
  disk.addPartitions();
  EXPECT_TRUE(waitUntil([&] { return openExclusively(disk.partitionNode(1)) == EBUSY; }));
  EXPECT_EQ(tryMount(disk.partitionNode(1)), EBUSY);
}

// Nothing tells that the program lets go, and the last event came before it was asked about.
TEST_F(Claims, CoverAPartitionThatAProgramHasWhenItAppears) {
  const LoopDisk disk({{kDataType, randomUUID(), "ext4"}});
  const auto node = disk.partitionNode(1);
  for (int round = 0; round < 5; ++round) {
    disk.removePartitions();
    const auto session = refuse({disk.name()});
    std::promise<void> goOn;
    queue->async([busy = goOn.get_future().share()] { busy.wait(); });
    disk.addPartitions();
    Descriptor program(::open(node.c_str(), O_RDONLY | O_EXCL | O_CLOEXEC));
    ASSERT_TRUE(program);
    goOn.set_value();
    queue->sync([] {});
    program.reset();
    EXPECT_TRUE(waitUntil([&] { return openExclusively(node) == EBUSY; }));
  }
}

TEST_F(Claims, CoverALoopDeviceThatAppearsOverARefusedNode) {
  const LoopDisk disk({{kDataType, randomUUID(), "ext4"}});
  auto session = refuse({disk.name()});
  const LoopDevice loop(disk.partitionNode(1));
  EXPECT_TRUE(waitUntil([&] { return openExclusively(loop.node()) == EBUSY; }));
  EXPECT_EQ(tryMount(loop.node()), EBUSY);
  session.reset();
}

TEST_F(Claims, CoverALoopDeviceThatStoodOnARefusedNodeBefore) {
  const LoopDisk disk({{kDataType, randomUUID(), "ext4"}});
  const LoopDevice loop(disk.partitionNode(1));
  auto session = refuse({disk.name()});
  EXPECT_EQ(tryMount(loop.node()), EBUSY);
  session.reset();
  EXPECT_EQ(openExclusively(loop.node()), 0);
}

TEST_F(Claims, CoverALoopDeviceOverTheWholeDisk) {
  const LoopDisk disk({{kDataType, randomUUID(), "ext4"}});
  auto session = refuse({disk.name()});
  const LoopDevice loop(disk.node());
  EXPECT_TRUE(waitUntil([&] { return openExclusively(loop.node()) == EBUSY; }));
  EXPECT_EQ(container(loop.name()), nullptr);
  session.reset();
}

// Whether the kernel finds the partitions by itself or is told of them.
void addPartitionsOf(const LoopDevice& loop) {
  if (!std::filesystem::exists(loop.node() + "p1")) {
    runProgram({"partx", "-a", loop.node()});
  }
}

void removePartitionsOf(const LoopDevice& loop) { runProgram({"partx", "-d", loop.node()}); }

TEST_F(Claims, CoverPartitionsOfALoopDeviceThatStoodOverTheDiskBefore) {
  const LoopDisk disk({{kDataType, randomUUID(), "ext4"}, {kUpdateType, "u", "ext4"}});
  const LoopDevice loop(disk.node());
  addPartitionsOf(loop);
  ASSERT_EQ(tryMount(loop.node() + "p2"), 0);
  auto session = refuse({disk.name()});
  const auto other = folder.makeFolder("other");
  EXPECT_EQ(mountNode(loop.node() + "p1", other, "ext4"), EBUSY);
  EXPECT_EQ(mountNode(loop.node(), other, "ext4"), EBUSY);
  EXPECT_EQ(volume(loop.name() + "p1"), nullptr);
  ASSERT_EQ(::umount2(place.c_str(), 0), 0);
  EXPECT_TRUE(waitUntil([&] { return log.has("claimed " + loop.name() + "p2"); }));
  EXPECT_EQ(mountNode(loop.node() + "p2", other, "ext4"), EBUSY);
  session.reset();
  EXPECT_EQ(openExclusively(loop.node() + "p1"), 0);
  removePartitionsOf(loop);
}

TEST_F(Claims, CoverPartitionsThatAppearOnALoopDeviceOverTheDisk) {
  const LoopDisk disk({{kDataType, randomUUID(), "ext4"}, {kUpdateType, "u", "ext4"}});
  auto session = refuse({disk.name()});
  const LoopDevice loop(disk.node());
  // A kernel that finds partitions by itself shows them before the loop device was asked about.
  if (std::filesystem::exists(loop.node() + "p1")) {
    for (const char* number : {"p1", "p2"}) {
      EXPECT_TRUE(waitUntil([&] { return openExclusively(loop.node() + number) == EBUSY; }));
    }
  } else {
    ASSERT_TRUE(waitUntil([&] { return log.has(loop.name() + " stands on a refused device"); }));
    addPartitionsOf(loop);
    EXPECT_FALSE(log.has(loop.name() + "p1"));
  }
  EXPECT_EQ(tryMount(loop.node() + "p1"), EBUSY);
  EXPECT_EQ(tryMount(loop.node() + "p2"), EBUSY);
  session.reset();
  removePartitionsOf(loop);
}

TEST_F(Claims, CoverADiskThatComesLateAndWhatStandsOnIt) {
  const auto group = randomUUID();
  auto session = makeGroupRefusingSession(disks, group);
  session->setQueue(queue);
  const LoopDisk disk({{kLinuxDataType, "other", "ext4"}, {kDataType, group}});
  const LoopDevice loop(disk.partitionNode(2));
  EXPECT_TRUE(waitUntil([&] { return openExclusively(disk.partitionNode(2)) == EBUSY; }));
  EXPECT_TRUE(waitUntil([&] { return openExclusively(loop.node()) == EBUSY; }));
  ASSERT_EQ(tryMount(disk.partitionNode(1)), 0);
  EXPECT_EQ(::umount2(place.c_str(), 0), 0);
  session.reset();
}

TEST_F(Claims, CoverALateDiskThatIsMountedBeforeItWasAskedAboutAsSoonAsItIsFree) {
  const auto group = randomUUID();
  auto session = makeGroupRefusingSession(disks, group);
  session->setQueue(queue);
  std::promise<void> go;
  queue->async([&go] { go.get_future().wait(); });
  const LoopDisk disk({{kDataType, group, "ext4"}});
  ASSERT_EQ(tryMount(disk.partitionNode(1)), 0);
  go.set_value();
  EXPECT_TRUE(waitUntil([&] { return log.has(disk.partition(1) + " is in use"); }));
  ASSERT_EQ(::umount2(place.c_str(), 0), 0);
  EXPECT_TRUE(waitUntil([&] { return log.has("claimed " + disk.partition(1)); }));
  EXPECT_EQ(tryMount(disk.partitionNode(1)), EBUSY);
  session.reset();
}

TEST_F(Claims, AreNeverOnWholeDisks) {
  const LoopDisk disk({});
  const auto session = disks.diskArbitration().createSession();
  session->registerMountApproval([&](DADisk& asked) -> std::optional<DADissent> {
    return asked.bsdName() == disk.name() ? std::optional(DADissent{1, "no"}) : std::nullopt;
  });
  session->setQueue(queue);
  EXPECT_EQ(openExclusively(disk.node()), 0);
}

TEST_F(Claims, AreMadeOnManyVolumes) {
  const LoopDisk disk(std::vector<LoopPartition>(128, {kDataType, randomUUID(), "", 1}));
  const auto session = refuse({disk.name()});
  for (unsigned number = 1; number <= 128; ++number) {
    EXPECT_EQ(openExclusively(disk.partitionNode(number)), EBUSY) << number;
  }
}

TEST_F(Claims, LeaveForeignDisksAlone) {
  const LoopDisk disk({{kDataType, randomUUID(), "ext4"}});
  const LoopDisk foreign({{kDataType, randomUUID(), "ext4"}, {kLinuxDataType, "x", "ext4"}});
  const auto session = refuse({disk.name()});
  EXPECT_EQ(openExclusively(foreign.partitionNode(1)), 0);
  ASSERT_EQ(tryMount(foreign.partitionNode(2)), 0);
  EXPECT_EQ(::umount2(place.c_str(), 0), 0);
}

TEST_F(Claims, LetReadersAndCheckersGoOn) {
  const LoopDisk disk({{kDataType, randomUUID(), "ext4"}});
  const auto session = refuse({disk.name()});
  runProgram({"blkid", "-p", disk.partitionNode(1)});
  runProgram({"e2fsck", "-n", disk.partitionNode(1)});
}

TEST_F(Claims, ComeBackAfterAMountThatFails) {
  const LoopDisk disk({{kDataType, randomUUID(), "ext4"}});
  const auto node = disk.partitionNode(1);
  // The group descriptors lie behind the superblock's block of 1024 bytes.
  runProgram({"dd", "if=/dev/urandom", "of=" + node, "bs=1024", "seek=2", "count=8",
              "conv=notrunc,fsync"});
  const auto session = refuse({disk.name()});
  ErrorRef error;
  EXPECT_FALSE(volume(disk.partition(1))->mountAtTemporaryPath({}, &error));
  ASSERT_NE(error, nullptr);
  EXPECT_NE(error->description().find(node), std::string::npos) << error->description();
  EXPECT_EQ(openExclusively(node), EBUSY);
  EXPECT_FALSE(volume(disk.partition(1))->isMounted());
}

TEST_F(Claims, ThatCannotBeTakenBackFailTheUnmountAndFollowLater) {
  const LoopDisk disk({{kDataType, randomUUID(), "ext4"}});
  const auto session = refuse({disk.name()});
  const auto data = volume(disk.partition(1));
  ASSERT_TRUE(data->mountAtTemporaryPath({}, nullptr));
  ASSERT_EQ(tryMount(disk.partitionNode(1)), 0);
  ErrorRef error;
  EXPECT_FALSE(data->unmount({}, &error));
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), EBUSY);
  EXPECT_NE(error->description().find(place), std::string::npos) << error->description();
  ASSERT_EQ(::umount2(place.c_str(), 0), 0);
  EXPECT_TRUE(waitUntil([&] { return log.has("claimed " + disk.partition(1)); }));
  EXPECT_EQ(tryMount(disk.partitionNode(1)), EBUSY);
}

TEST_F(Claims, FollowALazyUnmountOnceItsLastUserIsGone) {
  const LoopDisk disk({{kDataType, randomUUID(), "ext4"}});
  ASSERT_EQ(tryMount(disk.partitionNode(1)), 0);
  ChildProcess user([&] { return ::chdir(place.c_str()) == 0; });
  const auto session = refuse({disk.name()});
  ASSERT_EQ(::umount2(place.c_str(), MNT_DETACH), 0);
  EXPECT_TRUE(volume(disk.partition(1))->isMounted());
  EXPECT_FALSE(log.has("claimed " + disk.partition(1)));
  user.kill();
  EXPECT_TRUE(waitUntil([&] { return log.has("claimed " + disk.partition(1)); }));
  EXPECT_FALSE(volume(disk.partition(1))->isMounted());
  EXPECT_EQ(tryMount(disk.partitionNode(1)), EBUSY);
}

}  // namespace

}  // namespace marrow
