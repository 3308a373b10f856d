#include "tests/linux/disk/busy_unmount.h"
#include "tests/linux/disk/linux_disk_test.h"
#include "tests/linux/system/failing_calls.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace marrow {

namespace {

const VolumeOptions kForce = {{DVLoamVolumeUnmountOptionForce, true}};
const VolumeOptions kReadOnly = {{DVLoamVolumeMountOptionReadOnly, true}};

class VolumeUnmount : public LinuxDiskTest, public testing::WithParamInterface<const char*> {
 protected:
  std::string mountIt() {
    const auto path = data->mountAtTemporaryPath({}, nullptr);
    EXPECT_TRUE(path);
    return path.value_or(folder.at("nowhere"));
  }

  void expectBusy(const VolumeOptions& options, const std::string& holder) {
    expectBusyUnmount(*data, node, options, holder);
    EXPECT_FALSE(mountTargets(node).empty());
  }

  std::string numberOf(const ChildProcess& child) const {
    return "(" + std::to_string(child.process()) + ")";
  }

  std::string type = GetParam();
  LoopDisk disk{{{kDataType, randomUUID(), type, mebibytesFor(type)}}};
  std::string node = disk.partitionNode(1);
  std::shared_ptr<DVStaticLoamVolume> data = volume(disk.partition(1));
};
INSTANTIATE_TEST_SUITE_P(FileSystems, VolumeUnmount, testing::Values("ext4", "btrfs", "xfs"),
                         nameOfFileSystem);

// Starts the copy of sleep(1) at this path, in this folder, and returns when it runs.
pid_t startProgram(const std::string& program, const std::string& directory) {
  const pid_t child = ::fork();
  if (child == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const bool inside = ::chdir(directory.c_str()) == 0;
    ::execl(program.c_str(), program.c_str(), inside ? "1000" : "0", nullptr);
    ::_exit(1);
  }
  EXPECT_TRUE(waitUntil([&] {
    std::error_code failed;
    return std::filesystem::read_symlink("/proc/" + std::to_string(child) + "/exe", failed) ==
           program;
  }));
  return child;
}

TEST_P(VolumeUnmount, FailsWhereWhatWasChangedHasNotReachedTheDevice) {
  mountIt();
  failingCalls.syncfs = EIO;
  ErrorRef error;
  EXPECT_FALSE(data->unmount({}, &error));
  failingCalls = FailingCalls();
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), EIO);
  EXPECT_NE(error->localizedDescription()->find("Cannot write out what was changed in "),
            std::string::npos);
  EXPECT_TRUE(mountTargets(node).empty());
}

TEST_P(VolumeUnmount, EndsAProcessThatListensToReason) {
  const auto path = mountIt();
  ChildProcess child([&] { return ::chdir(path.c_str()) == 0; });
  EXPECT_TRUE(data->unmount(kForceAll, nullptr));
  EXPECT_EQ(child.endingSignal(), SIGTERM);
  EXPECT_TRUE(mountTargets(node).empty());
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_P(VolumeUnmount, KillsAProcessThatDoesNotAfterTwoSeconds) {
  const auto path = mountIt();
  ChildProcess child(
      [&] { return ::signal(SIGTERM, SIG_IGN) != SIG_ERR && ::chdir(path.c_str()) == 0; });
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_TRUE(data->unmount(kForceAll, nullptr));
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
  EXPECT_EQ(child.endingSignal(), SIGKILL);
  EXPECT_FALSE(data->isMounted());
}

TEST_P(VolumeUnmount, FindsHoldersByWhateverTheyHold) {
  const auto path = mountIt();
  std::filesystem::copy_file("/bin/sleep", path + "/program");
  std::filesystem::create_directory(path + "/folder");
  const ChildProcess inFolder([&] { return ::chdir((path + "/folder").c_str()) == 0; });
  const ChildProcess withFile(
      [&] { return ::open((path + "/file").c_str(), O_WRONLY | O_CREAT, 0600) >= 0; });
  const ChildProcess withMapping([&] {
    const int file = ::open((path + "/program").c_str(), O_RDONLY);
    const bool mapped =
        ::mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE, file, 0) != MAP_FAILED;  // NOLINT
    return mapped && ::close(file) == 0;
  });
  const ChildProcess underRoot([&] { return ::chroot(path.c_str()) == 0; });
  expectBusy(kAll, numberOf(inFolder));
  expectBusy(kAll, numberOf(withFile));
  expectBusy(kAll, numberOf(withMapping));
  expectBusy(kAll, numberOf(underRoot));
  EXPECT_TRUE(data->unmount(kForceAll, nullptr));
}

TEST_P(VolumeUnmount, FindsAProgramThatRunsFromTheVolume) {
  const auto path = mountIt();
  std::filesystem::copy_file("/bin/sleep", path + "/program");
  const pid_t child = startProgram(path + "/program", "/");
  expectBusy(kAll, "program (" + std::to_string(child) + ")");
  EXPECT_TRUE(data->unmount(kForceAll, nullptr));
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(WTERMSIG(status), SIGTERM);
}

TEST_P(VolumeUnmount, WithoutAllEndsOnlyWhoHoldsOurOwnMount) {
  ASSERT_EQ(tryMount(node, type), 0);
  const auto path = mountIt();
  ChildProcess theirs([&] { return ::chdir(place.c_str()) == 0; });
  ChildProcess ours(
      [&] { return ::open((path + "/file").c_str(), O_WRONLY | O_CREAT, 0600) >= 0; });
  EXPECT_TRUE(data->unmount(kForce, nullptr));
  EXPECT_EQ(ours.endingSignal(), SIGTERM);
  EXPECT_EQ(theirs.endingSignal(), 0);
  EXPECT_EQ(mountTargets(node), std::vector<std::string>{place});
  EXPECT_TRUE(data->unmount(kForceAll, nullptr));
}

TEST_P(VolumeUnmount, TakesEveryMountPointAndBindMount) {
  ASSERT_EQ(tryMount(node, type), 0);
  std::filesystem::create_directory(place + "/folder");
  const auto second = folder.makeFolder("second");
  const auto third = folder.makeFolder("third");
  ASSERT_EQ(mountNode(node, second, type), 0);
  ASSERT_EQ(::mount((place + "/folder").c_str(), third.c_str(), nullptr, MS_BIND, nullptr), 0);
  mountIt();
  EXPECT_EQ(mountTargets(node).size(), 4U);
  EXPECT_TRUE(data->unmount(kAll, nullptr));
  EXPECT_TRUE(mountTargets(node).empty());
  EXPECT_FALSE(data->isMounted());
}

TEST_P(VolumeUnmount, TakesWhatStandsOnItOnlyByForce) {
  const auto path = mountIt();
  std::filesystem::create_directory(path + "/folder");
  ASSERT_EQ(::mount("test", (path + "/folder").c_str(), "tmpfs", 0, nullptr), 0);
  ASSERT_EQ(::mount("test", path.c_str(), "tmpfs", 0, nullptr), 0);
  EXPECT_FALSE(data->unmount(kAll, nullptr));
  EXPECT_TRUE(data->unmount(kForceAll, nullptr));
  EXPECT_TRUE(mountsBelow(path).empty());
}

TEST_P(VolumeUnmount, BindsReadOnlyBesideAWritableMount) {
  ASSERT_EQ(tryMount(node, type), 0);
  const auto path = data->mountAtTemporaryPath(kReadOnly, nullptr);
  ASSERT_TRUE(path);
  EXPECT_EQ(::open((*path + "/file").c_str(), O_WRONLY | O_CREAT, 0600), -1);
  EXPECT_EQ(errno, EROFS);
  const int file = ::open((place + "/file").c_str(), O_WRONLY | O_CREAT, 0600);
  EXPECT_GE(file, 0);
  ::close(file);
  EXPECT_EQ(data->mountPoint(), place);
  EXPECT_TRUE(data->unmount(kAll, nullptr));
}

TEST_P(VolumeUnmount, CannotBindForWritingWhatIsMountedReadOnly) {
  ASSERT_EQ(tryMount(node, type, MS_RDONLY), 0);
  ErrorRef error;
  EXPECT_FALSE(data->mountAtTemporaryPath({}, &error));
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), EROFS);
  EXPECT_TRUE(std::filesystem::is_empty(folder.at("run/marrow/mnt")));
  EXPECT_TRUE(data->unmount(kAll, nullptr));
}

TEST_P(VolumeUnmount, HasNoMountPointWhereAnotherMountCoversIt) {
  ASSERT_EQ(tryMount(node, type), 0);
  EXPECT_EQ(data->mountPoint(), place);
  ASSERT_EQ(::mount("test", place.c_str(), "tmpfs", 0, nullptr), 0);
  EXPECT_EQ(data->mountPoint(), std::nullopt);
  EXPECT_TRUE(data->isMounted());
  expectBusy(kAll, place);
  EXPECT_TRUE(data->unmount(kForceAll, nullptr));
}

TEST_P(VolumeUnmount, HasNoMountPointWhereOnlyAPartIsMounted) {
  ASSERT_EQ(tryMount(node, type), 0);
  std::filesystem::create_directory(place + "/folder");
  const auto part = folder.makeFolder("part");
  ASSERT_EQ(::mount((place + "/folder").c_str(), part.c_str(), nullptr, MS_BIND, nullptr), 0);
  ASSERT_EQ(::umount2(place.c_str(), 0), 0);
  EXPECT_EQ(data->mountPoint(), std::nullopt);
  EXPECT_TRUE(data->isMounted());
  EXPECT_NE(data->mountAtTemporaryPath({}, nullptr), std::nullopt);
  EXPECT_TRUE(data->unmount(kAll, nullptr));
}

TEST_P(VolumeUnmount, KeepsSetUserIDAndDeviceNodesOut) {
  mountIt();
  std::ifstream table("/proc/self/mountinfo");
  bool found = false;
  for (std::string line; std::getline(table, line);) {
    if (line.find("/marrow/mnt/" + disk.partition(1) + "-") != std::string::npos) {
      found = true;
      EXPECT_NE(line.find("nosuid,nodev"), std::string::npos) << line;
    }
  }
  EXPECT_TRUE(found);
  EXPECT_TRUE(data->unmount({}, nullptr));
}

TEST_P(VolumeUnmount, SaysThatSomebodyElseUsesTheDevice) {
  const ChildProcess user([&] { return ::open(node.c_str(), O_RDONLY | O_EXCL | O_CLOEXEC) >= 0; });
  EXPECT_TRUE(data->isMounted());
  EXPECT_EQ(data->mountPoint(), std::nullopt);
  ErrorRef error;
  EXPECT_FALSE(data->unmount(kForceAll, &error));
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), EBUSY);
  EXPECT_NE(error->description().find(numberOf(user)), std::string::npos) << error->description();
}

using UnmountByForce = LinuxDiskTest;

TEST_F(UnmountByForce, LeavesTheJournalAlone) {
  const LoopDisk disk({{kDataType, randomUUID(), "ext4"}});
  const auto data = volume(disk.partition(1));
  const auto path = data->mountAtTemporaryPath({}, nullptr);
  ASSERT_TRUE(path);
  const auto program = folder.at("systemd-journald");
  std::filesystem::copy_file("/bin/sleep", program);
  const pid_t child = startProgram(program, *path);
  ErrorRef error;
  EXPECT_FALSE(data->unmount(kForceAll, &error));
  ASSERT_NE(error, nullptr);
  EXPECT_NE(error->description().find("systemd-journal (" + std::to_string(child) + ")"),
            std::string::npos)
      << error->description();
  EXPECT_EQ(::kill(child, 0), 0);
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
  EXPECT_TRUE(data->unmount(kForceAll, nullptr));
}

}  // namespace

}  // namespace marrow
