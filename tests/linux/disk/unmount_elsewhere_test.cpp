#include "tests/linux/disk/busy_unmount.h"
#include "tests/linux/disk/linux_disk_test.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <sched.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

namespace marrow {

namespace {

namespace fs = std::filesystem;

std::string numberOf(const ChildProcess& child) {
  return "(" + std::to_string(child.process()) + ")";
}

// How the mounts of the whole machine look from a process of the test's own.
std::vector<std::string> targetsSeenBy(pid_t process, const std::string& source) {
  return mountTargets(source, "/proc/" + std::to_string(process) + "/mountinfo");
}

class UnmountElsewhere : public LinuxDiskTest, public testing::WithParamInterface<const char*> {
 protected:
  // In the child: a mount namespace that hears nothing of ours, with the volume mounted at `place`.
  bool mountInOwnNamespace() {
    return ::unshare(CLONE_NEWNS) == 0 && mountNode(node, place, type) == 0;
  }

  void expectBusy(const VolumeOptions& options, const std::string& holder) {
    expectBusyUnmount(*data, node, options, holder);
  }

  void expectUnmounted(const VolumeOptions& options) {
    ErrorRef error;
    EXPECT_TRUE(data->unmount(options, &error)) << error->description();
    EXPECT_FALSE(data->isMounted());
    EXPECT_EQ(openExclusively(node), 0);
    const auto session = refuse({disk.name()});
    EXPECT_EQ(tryMount(node, type), EBUSY);
  }

  std::string type = GetParam();
  LoopDisk disk{{{kDataType, randomUUID(), type, mebibytesFor(type)}}};
  std::string node = disk.partitionNode(1);
  std::shared_ptr<DVStaticLoamVolume> data = volume(disk.partition(1));
};
INSTANTIATE_TEST_SUITE_P(FileSystems, UnmountElsewhere, testing::Values("ext4", "btrfs", "xfs"),
                         nameOfFileSystem);

TEST_P(UnmountElsewhere, TakesAMountThatOnlyAnotherNamespaceHas) {
  ChildProcess other([&] { return mountInOwnNamespace(); });
  ASSERT_TRUE(mountTargets(node).empty());
  EXPECT_TRUE(data->isMounted());
  EXPECT_EQ(data->mountPoint(), std::nullopt);
  expectUnmounted(kAll);
  EXPECT_EQ(other.endingSignal(), 0);
  EXPECT_TRUE(targetsSeenBy(other.process(), node).empty());
}

TEST_P(UnmountElsewhere, MountsReadOnlyWhatAnotherNamespaceHasMountedForWriting) {
  ChildProcess writer([&] {
    return mountInOwnNamespace() &&
           ::open((place + "/file").c_str(), O_WRONLY | O_CREAT, 0600) >= 0;
  });
  const VolumeOptions asTheStepDoes = {{DVLoamVolumeMountOptionReadOnly, true},
                                       {DVLoamVolumeUnmountOptionDoNotLock, true}};
  auto session = refuse({disk.name()});
  ErrorRef error;
  const auto path = data->mountAtTemporaryPath(asTheStepDoes, &error);
  ASSERT_TRUE(path) << error->description();
  EXPECT_EQ(::open((*path + "/other").c_str(), O_WRONLY | O_CREAT, 0600), -1);
  EXPECT_EQ(errno, EROFS);
  EXPECT_TRUE(data->unmount(asTheStepDoes, &error)) << error->description();
  EXPECT_EQ(writer.endingSignal(), 0);
  EXPECT_TRUE(data->unmount(kForceAll, &error)) << error->description();
  EXPECT_EQ(writer.endingSignal(), SIGTERM);
  EXPECT_EQ(openExclusively(node), EBUSY);
  EXPECT_FALSE(data->isMounted());
}

TEST_P(UnmountElsewhere, LeavesItAloneUnlessEveryMountIsMeant) {
  const ChildProcess other([&] { return mountInOwnNamespace(); });
  expectBusy({}, place + " in the mount namespace of ");
  EXPECT_EQ(targetsSeenBy(other.process(), node), std::vector<std::string>{place});
  expectUnmounted(kAll);
}

TEST_P(UnmountElsewhere, TakesTheCopiesThatNamespacesGotAtTheirStart) {
  ASSERT_EQ(tryMount(node, type), 0);
  const auto path = data->mountAtTemporaryPath({}, nullptr);
  ASSERT_TRUE(path);
  ChildProcess first([&] { return ::unshare(CLONE_NEWNS) == 0; });
  ChildProcess second([&] { return ::unshare(CLONE_NEWNS) == 0; });
  EXPECT_EQ(targetsSeenBy(first.process(), node).size(), 2U);
  expectUnmounted(kAll);
  EXPECT_EQ(first.endingSignal(), 0);
  EXPECT_EQ(second.endingSignal(), 0);
  EXPECT_FALSE(fs::exists(*path));
}

TEST_P(UnmountElsewhere, TakesOurOwnMountFromANamespaceThatCopiedIt) {
  const auto session = refuse({disk.name()});
  ASSERT_TRUE(data->mountAtTemporaryPath({}, nullptr));
  const ChildProcess other([&] { return ::unshare(CLONE_NEWNS) == 0; });
  ErrorRef error;
  EXPECT_TRUE(data->unmount({}, &error)) << error->description();
  EXPECT_TRUE(targetsSeenBy(other.process(), node).empty());
  EXPECT_EQ(openExclusively(node), EBUSY);
  EXPECT_FALSE(data->isMounted());
}

TEST_P(UnmountElsewhere, TakesBindMountsAndWhatStandsOnThem) {
  const auto second = folder.makeFolder("second");
  const ChildProcess other([&] {
    return mountInOwnNamespace() && ::mkdir((place + "/folder").c_str(), 0700) == 0 &&
           ::mount((place + "/folder").c_str(), second.c_str(), nullptr, MS_BIND, nullptr) == 0 &&
           ::mount("test", (place + "/folder").c_str(), "tmpfs", 0, nullptr) == 0 &&
           ::mount("test", second.c_str(), "tmpfs", 0, nullptr) == 0;
  });
  expectBusy(kAll, second);
  expectUnmounted(kForceAll);
  EXPECT_TRUE(targetsSeenBy(other.process(), node).empty());
}

TEST_P(UnmountElsewhere, EndsWhoeverHoldsItThere) {
  std::vector<std::function<bool()>> ways = {
      [&] { return ::chdir(place.c_str()) == 0; },
      [&] { return ::chroot(place.c_str()) == 0; },
      [&] { return ::open((place + "/file").c_str(), O_WRONLY | O_CREAT, 0600) >= 0; },
      [&] {
        const int file = ::open((place + "/mapped").c_str(), O_RDWR | O_CREAT, 0600);
        const bool mapped = ::ftruncate(file, 4096) == 0 &&
                            ::mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0) !=
                                MAP_FAILED;  // NOLINT
        return mapped && ::close(file) == 0;
      },
  };
  for (const auto& way : ways) {
    ChildProcess other([&] { return mountInOwnNamespace() && way(); });
    expectBusy(kAll, numberOf(other));
    expectUnmounted(kForceAll);
    EXPECT_EQ(other.endingSignal(), SIGTERM);
  }
}

TEST_P(UnmountElsewhere, KillsThereWhoDoesNotListen) {
  ChildProcess other([&] {
    return ::signal(SIGTERM, SIG_IGN) != SIG_ERR && mountInOwnNamespace() &&
           ::chdir(place.c_str()) == 0;
  });
  expectUnmounted(kForceAll);
  EXPECT_EQ(other.endingSignal(), SIGKILL);
}

TEST_P(UnmountElsewhere, EntersANamespaceThatOnlyADescriptorKeeps) {
  const ChildProcess keeper([&] {
    const int own = ::open("/proc/self/ns/mnt", O_RDONLY);
    const bool mounted = mountInOwnNamespace();
    const int other = ::open("/proc/self/ns/mnt", O_RDONLY);
    return mounted && other >= 0 && ::setns(own, CLONE_NEWNS) == 0;
  });
  EXPECT_TRUE(data->isMounted());
  expectUnmounted(kAll);
}

// As far as it may.
void runOn(unsigned processor) {
  cpu_set_t set{};
  CPU_SET(processor, &set);
  ::sched_setaffinity(0, sizeof(set), &set);
}

// A namespace can be bound only in an older one, and newer kernels number those of each processor
// on their own: on the processor that made ours the child's is the newer one.
bool keepByBindMount(const std::string& kept, const std::function<bool()>& enter) {
  bool bound = false;
  for (unsigned processor = 0; !bound && processor < std::thread::hardware_concurrency();
       ++processor) {
    const ChildProcess other([&] {
      runOn(processor);
      return enter();
    });
    const auto file = "/proc/" + std::to_string(other.process()) + "/ns/mnt";
    bound = ::mount(file.c_str(), kept.c_str(), nullptr, MS_BIND, nullptr) == 0;
  }
  return bound;
}

TEST_P(UnmountElsewhere, EntersANamespaceThatOnlyABindMountKeeps) {
  const auto kept = folder.at("kept");
  ASSERT_EQ(::close(::open(kept.c_str(), O_WRONLY | O_CREAT, 0600)), 0);
  ASSERT_TRUE(keepByBindMount(kept, [&] { return mountInOwnNamespace(); }));
  EXPECT_TRUE(data->isMounted());
  expectBusy({}, place + " in the mount namespace of " + kept);
  expectUnmounted(kAll);
  EXPECT_EQ(::umount2(kept.c_str(), 0), 0);
}

TEST_P(UnmountElsewhere, EntersTheNamespaceOfASingleThread) {
  const ChildProcess other([&] {
    static std::atomic<bool> mounted = false;
    std::thread([&] {
      mounted = mountInOwnNamespace();
      while (true) {
        ::pause();
      }
    }).detach();
    return waitUntil([] { return mounted.load(); });
  });
  EXPECT_TRUE(targetsSeenBy(other.process(), node).empty());
  expectUnmounted(kAll);
}

TEST_P(UnmountElsewhere, EndsALessPrivilegedNamespaceThatCannotLoseItsCopy) {
  ASSERT_EQ(tryMount(node, type), 0);
  ChildProcess other([&] { return ::unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0; });
  ErrorRef error;
  EXPECT_FALSE(data->unmount(kAll, &error));
  ASSERT_NE(error, nullptr);
  EXPECT_NE(error->description().find(numberOf(other)), std::string::npos) << error->description();
  expectUnmounted(kForceAll);
  EXPECT_EQ(other.endingSignal(), SIGTERM);
}

TEST_P(UnmountElsewhere, EndsANamespaceThatHasTheVolumeForItsRoot) {
  ChildProcess other([&] {
    return mountInOwnNamespace() && ::mkdir((place + "/old").c_str(), 0700) == 0 &&
           ::chdir(place.c_str()) == 0 && ::syscall(SYS_pivot_root, ".", "old") == 0 &&
           ::umount2("/old", MNT_DETACH) == 0;
  });
  expectBusy(kAll, numberOf(other));
  expectUnmounted(kForceAll);
  EXPECT_EQ(other.endingSignal(), SIGTERM);
}

}  // namespace

}  // namespace marrow
