#include "tests/linux/disk/busy_unmount.h"
#include "tests/linux/disk/linux_disk_test.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sched.h>
#include <sstream>
#include <sys/mount.h>
#include <sys/swap.h>
#include <unistd.h>

namespace marrow {

namespace {

constexpr int kLowestPriority = SWAP_FLAG_PREFER;  // the priority's bits are 0

bool swapsOn(const std::string& path) {
  std::ostringstream table;
  table << std::ifstream("/proc/swaps").rdbuf();
  return table.str().find(path + " ") != std::string::npos;
}

// Swap space that is turned off again; the test fails when that was still to do.
class SwapSpace {
 public:
  explicit SwapSpace(std::string path) : _path(std::move(path)) {
    EXPECT_EQ(::swapon(_path.c_str(), kLowestPriority), 0) << errno;
  }
  ~SwapSpace() {
    if (swapsOn(_path)) {
      ADD_FAILURE() << _path << " leaks: it is still in use for swapping";
      ::swapoff(_path.c_str());
    }
  }
  SwapSpace(const SwapSpace&) = delete;
  SwapSpace& operator=(const SwapSpace&) = delete;

 private:
  std::string _path;
};

// A loop device that nobody has open, as losetup(8) leaves it. Detached at the end; the test fails
// when that was still to do.
class LeftLoopDevice {
 public:
  explicit LeftLoopDevice(const std::string& backing, const std::string& options = {})
      : _backing(backing) {
    const auto command = "losetup -f --show " + options + " '" + backing + "'";
    FILE* const pipe = ::popen(command.c_str(), "re");
    std::string node(64, '\0');
    node.resize(std::fread(node.data(), 1, node.size(), pipe));
    EXPECT_EQ(::pclose(pipe), 0);
    _node = node.substr(0, node.find('\n'));
  }
  ~LeftLoopDevice() {
    if (isAttached()) {
      ADD_FAILURE() << _node << " leaks: it is still attached";
      detach();
    }
  }
  LeftLoopDevice(const LeftLoopDevice&) = delete;
  LeftLoopDevice& operator=(const LeftLoopDevice&) = delete;

  const std::string& node() const { return _node; }
  std::string name() const { return _node.substr(_node.rfind('/') + 1); }

  // Whoever looks for a free device may have it open for a moment; the last to close it detaches
  // it.
  void detach() const {
    runProgram({"losetup", "-d", _node});
    waitUntil([this] { return !isAttached(); });
  }

  bool isAttached() const {
    std::string path;
    std::ifstream file("/sys/class/block/" + name() + "/loop/backing_file");
    return static_cast<bool>(std::getline(file, path)) && path == _backing;
  }

 private:
  std::string _backing;
  std::string _node;
};

class UnmountOfWhatTheKernelHolds : public LinuxDiskTest,
                                    public testing::WithParamInterface<const char*> {
 protected:
  std::string mountIt() {
    EXPECT_EQ(tryMount(node, type), 0);
    return place;
  }

  // The copy-on-write of btrfs and a swap file do not go together.
  std::string makeSwapFile(const std::string& path) {
    std::ofstream(path).close();
    if (type == "btrfs") {
      runProgram({"chattr", "+C", path});
    }
    std::ofstream(path) << std::string(1 << 20, '\0');
    std::filesystem::permissions(
        path, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    runProgram({"mkswap", "-q", path});
    return path;
  }

  std::string makeImage() {
    std::ofstream(place + "/image").close();
    std::filesystem::resize_file(place + "/image", 2 << 20);
    runProgram({"mkfs.ext4", "-q", "-F", place + "/image"});
    return place + "/image";
  }

  void expectBusy(const VolumeOptions& options, const std::string& holder) {
    expectBusyUnmount(*data, node, options, holder);
  }

  void expectUnmounted() {
    ErrorRef error;
    EXPECT_TRUE(data->unmount(kForceAll, &error)) << error->description();
    EXPECT_FALSE(data->isMounted());
    EXPECT_EQ(openExclusively(node), 0);
  }

  void expectClaimed() {
    ErrorRef error;
    EXPECT_TRUE(data->unmount(kForceAll, &error)) << error->description();
    EXPECT_FALSE(data->isMounted());
    EXPECT_EQ(tryMount(node, type), EBUSY);
  }

  std::string type = GetParam();
  LoopDisk disk{{{kDataType, randomUUID(), type, mebibytesFor(type)}}};
  std::string node = disk.partitionNode(1);
  std::shared_ptr<DVStaticLoamVolume> data = volume(disk.partition(1));
};
INSTANTIATE_TEST_SUITE_P(FileSystems, UnmountOfWhatTheKernelHolds,
                         testing::Values("ext4", "btrfs", "xfs"), nameOfFileSystem);

TEST_P(UnmountOfWhatTheKernelHolds, TurnsASwapFileOff) {
  const auto path = makeSwapFile(mountIt() + "/swap file");
  runProgram({"sync", "-f", path});
  const SwapSpace swap(path);
  expectBusy(kAll, "the swap space " + path);
  expectUnmounted();
}

TEST_P(UnmountOfWhatTheKernelHolds, TurnsASwapFileOffThatAnotherNamespaceTurnedOn) {
  const auto path = makeSwapFile(mountIt() + "/swap");
  const ChildProcess other(
      [&] { return ::unshare(CLONE_NEWNS) == 0 && ::swapon(path.c_str(), kLowestPriority) == 0; });
  ASSERT_EQ(::umount2(place.c_str(), 0), 0);
  expectBusy(kAll, "the swap space " + path);
  expectUnmounted();
}

TEST_P(UnmountOfWhatTheKernelHolds, DetachesALoopDeviceThatNobodyUses) {
  mountIt();
  const LeftLoopDevice loop(makeImage());
  expectBusy(kAll, loop.name());
  expectUnmounted();
  EXPECT_FALSE(loop.isAttached());
}

TEST_P(UnmountOfWhatTheKernelHolds, UnmountsALoopDeviceInEveryNamespaceAndDetachesIt) {
  mountIt();
  const LeftLoopDevice loop(makeImage());
  const auto inner = folder.makeFolder("inner");
  ASSERT_EQ(mountNode(loop.node(), inner, "ext4"), 0);
  ChildProcess user([&] { return ::unshare(CLONE_NEWNS) == 0 && ::chdir(inner.c_str()) == 0; });
  expectBusy(kAll, loop.name());
  expectUnmounted();
  EXPECT_EQ(user.endingSignal(), SIGTERM);
  EXPECT_FALSE(loop.isAttached());
}

TEST_P(UnmountOfWhatTheKernelHolds, EndsWhoHasALoopDeviceOpen) {
  mountIt();
  const LeftLoopDevice loop(makeImage());
  ChildProcess user([&] { return ::open(loop.node().c_str(), O_RDONLY) >= 0; });
  expectUnmounted();
  EXPECT_EQ(user.endingSignal(), SIGTERM);
  EXPECT_FALSE(loop.isAttached());
}

// The test itself has it open, whom nobody ends.
TEST_P(UnmountOfWhatTheKernelHolds, NamesALoopDeviceThatStaysInUse) {
  mountIt();
  {
    const LoopDevice loop(makeImage());
    expectBusy(kForceAll, loop.name());
    EXPECT_TRUE(log.has("Cannot detach " + loop.name()));
  }
  expectUnmounted();
}

TEST_P(UnmountOfWhatTheKernelHolds, TakesTheMountOfALoopDeviceOverTheNode) {
  const LeftLoopDevice loop(node);
  ASSERT_EQ(tryMount(loop.node(), type), 0);
  ChildProcess user([&] { return ::chdir(place.c_str()) == 0; });
  EXPECT_TRUE(data->isMounted());
  ErrorRef error;
  EXPECT_FALSE(data->unmount({}, &error));
  ASSERT_NE(error, nullptr);
  EXPECT_NE(error->description().find(loop.name()), std::string::npos) << error->description();
  expectUnmounted();
  EXPECT_EQ(user.endingSignal(), SIGTERM);
  EXPECT_TRUE(mountTargets(loop.node()).empty());
  loop.detach();
}

TEST_P(UnmountOfWhatTheKernelHolds, TakesTheMountOfAPartOfALoopDeviceOverTheDisk) {
  const LeftLoopDevice loop(disk.node());
  runProgram({"partx", "-u", loop.node()});
  ASSERT_EQ(tryMount(loop.node() + "p1", type), 0);
  EXPECT_TRUE(data->isMounted());
  expectBusy({}, loop.name() + "p1");
  const auto session = refuse({disk.name()});
  expectClaimed();
  EXPECT_TRUE(mountTargets(loop.node() + "p1").empty());
  EXPECT_EQ(tryMount(loop.node() + "p1", type), EBUSY);
  session->setQueue(nullptr);
  runProgram({"partx", "-d", loop.node()});
  loop.detach();
}

TEST_P(UnmountOfWhatTheKernelHolds, LeavesALoopDeviceOverOtherPartsOfTheDiskAlone) {
  // The first MiB is the partition table's.
  const LeftLoopDevice loop(disk.node(), "--sizelimit 1048576");
  const ChildProcess user([&] { return ::open(loop.node().c_str(), O_RDONLY | O_EXCL) >= 0; });
  EXPECT_FALSE(data->isMounted());
  loop.detach();
}

TEST_P(UnmountOfWhatTheKernelHolds, KeepsWhatWasWrittenWhereItWasMountedForWriting) {
  const auto path = mountIt();
  std::ofstream(path + "/file") << "written";
  ChildProcess writer([&] {
    return ::open((path + "/file").c_str(), O_WRONLY | O_APPEND) >= 0 && ::chdir(path.c_str()) == 0;
  });
  const auto session = refuse({disk.name()});
  const VolumeOptions asTheStepDoes = {{DVLoamVolumeMountOptionReadOnly, true},
                                       {DVLoamVolumeUnmountOptionDoNotLock, true}};
  ASSERT_TRUE(data->mountAtTemporaryPath(asTheStepDoes, nullptr));
  EXPECT_TRUE(data->unmount(asTheStepDoes, nullptr));
  EXPECT_EQ(writer.endingSignal(), 0);
  EXPECT_TRUE(data->unmount(kForceAll, nullptr));
  EXPECT_EQ(writer.endingSignal(), SIGTERM);
  EXPECT_EQ(tryMount(node, type), EBUSY);
  session->setQueue(nullptr);
  ASSERT_EQ(tryMount(node, type), 0);
  std::string text;
  std::ifstream(place + "/file") >> text;
  EXPECT_EQ(text, "written");
  EXPECT_EQ(::umount2(place.c_str(), 0), 0);
}

using UnmountByForceOf = LinuxDiskTest;

TEST_F(UnmountByForceOf, SwapSpaceRightOnTheVolumeTurnsItOff) {
  const LoopDisk disk({{kDataType, randomUUID()}});
  runProgram({"mkswap", "-q", disk.partitionNode(1)});
  const SwapSpace swap(disk.partitionNode(1));
  const auto data = volume(disk.partition(1));
  EXPECT_TRUE(data->isMounted());
  ErrorRef error;
  EXPECT_FALSE(data->unmount(kAll, &error));
  ASSERT_NE(error, nullptr);
  EXPECT_NE(error->description().find("the swap space " + disk.partitionNode(1)), std::string::npos)
      << error->description();
  EXPECT_TRUE(data->unmount(kForceAll, &error)) << error->description();
  EXPECT_EQ(openExclusively(disk.partitionNode(1)), 0);
}

TEST_F(UnmountByForceOf, AFileSystemThatWasDetachedLazilyEndsItsUsers) {
  for (const std::string type : {"ext4", "xfs"}) {
    const LoopDisk disk({{kDataType, randomUUID(), type, mebibytesFor(type)}});
    ASSERT_EQ(tryMount(disk.partitionNode(1), type), 0);
    ChildProcess user([&] { return ::chdir(place.c_str()) == 0; });
    ASSERT_EQ(::umount2(place.c_str(), MNT_DETACH), 0);
    const auto data = volume(disk.partition(1));
    ErrorRef error;
    EXPECT_FALSE(data->unmount(kAll, &error));
    ASSERT_NE(error, nullptr);
    EXPECT_NE(error->description().find("(" + std::to_string(user.process()) + ")"),
              std::string::npos)
        << error->description();
    EXPECT_TRUE(data->unmount(kForceAll, nullptr));
    EXPECT_EQ(user.endingSignal(), SIGTERM);
    EXPECT_EQ(openExclusively(disk.partitionNode(1)), 0);
  }
}

}  // namespace

}  // namespace marrow
