// Needs a kernel whose BPF LSM is on.
#include "tests/linux/disk/linux_disk_test.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <functional>
#include <future>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace marrow {

namespace {

// 0, or the errno of the first call that fails.
int mountThroughFsmount(const std::string& node, const std::string& target,
                        const std::string& type) {
  const Descriptor context(::fsopen(type.c_str(), FSOPEN_CLOEXEC));
  if (::fsconfig(context.number(), FSCONFIG_SET_STRING, "source", node.c_str(), 0) != 0 ||
      ::fsconfig(context.number(), FSCONFIG_CMD_CREATE, nullptr, nullptr, 0) != 0) {
    return errno;
  }
  const Descriptor mount(::fsmount(context.number(), FSMOUNT_CLOEXEC, 0));
  return mount && ::move_mount(mount.number(), "", AT_FDCWD, target.c_str(),
                               MOVE_MOUNT_F_EMPTY_PATH) == 0
             ? 0
             : errno;
}

// Only what mount(8) itself says of its end.
int mountThroughProgram(const std::string& node, const std::string& target,
                        const std::string& type) {
  const int silence = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
  ::dup2(silence, STDERR_FILENO);
  ::execlp("mount", "mount", "-t", type.c_str(), node.c_str(), target.c_str(), nullptr);
  return 255;
}

// What another process came to.
struct Outcome {
  pid_t process = 0;
  int status = 0;

  std::string as(const std::string& name) const {
    return name + " (" + std::to_string(process) + ") tried to mount ";
  }
};

// Runs the attempt in a process called "intruder", whose exit status it gives.
Outcome intrude(const std::function<int()>& attempt) {
  Outcome outcome;
  outcome.process = ::fork();
  if (outcome.process == 0) {
    ::prctl(PR_SET_NAME, "intruder");
    ::_exit(attempt());
  }
  int status = 0;
  ::waitpid(outcome.process, &status, 0);
  outcome.status = WEXITSTATUS(status);
  return outcome;
}

class MountGateOn : public LinuxDiskTest, public testing::WithParamInterface<const char*> {
 protected:
  // A session that refuses the disk's volume and notes how often it is asked about it.
  std::unique_ptr<DASession> guard(LinuxDisks& guarding) {
    auto session = guarding.diskArbitration().createSession();
    session->registerMountApproval([this](DADisk& asked) {
      asks += asked.bsdName() == name ? 1 : 0;
      return asked.bsdName() == name ? std::optional(DADissent{kDAReturnNotPermitted, "in use"})
                                     : std::nullopt;
    });
    session->setQueue(queue);
    return session;
  }

  // The attempt is refused, told of once, with its process, and put to the callback once.
  void expectRefused(const std::function<int()>& attempt, const std::string& process = "intruder",
                     int status = EBUSY) {
    if (HasFailure()) {
      return;  // each further one would be waited for as long
    }
    const int before = asks;
    const auto outcome = intrude(attempt);
    EXPECT_EQ(outcome.status, status);
    const auto line = outcome.as(process) + name + ", which is refused";
    EXPECT_TRUE(waitUntil([&] { return log.has(line); })) << line;
    queue->sync([] {});
    EXPECT_EQ(asks, before + 1);
    lines.push_back(line);
  }

  void expectEveryCallRefused() {
    expectRefused([&] { return mountNode(node, other, type); });
    expectRefused([&] { return mountNode(node, other, type, MS_RDONLY); });
    expectRefused([&] { return mountThroughFsmount(node, other, type); });
    expectRefused([&] { return mountThroughProgram(node, other, type); }, "mount", 32);
    expectRefused([&] { return ::unshare(CLONE_NEWNS) == 0 ? mountNode(node, other, type) : 255; });
    EXPECT_TRUE(mountsBelow(other).empty());
  }

  // Once the session is unscheduled, nothing is left to be told of.
  void endAndCountLines(std::unique_ptr<DASession> session) {
    session->setQueue(nullptr);
    for (const auto& line : lines) {
      EXPECT_EQ(log.count(line), 1U) << line;
    }
    EXPECT_EQ(log.count(" tried to mount "), lines.size());
  }

  int mountByOther() {
    return intrude([&] { return mountNode(node, other, type); }).status;
  }

  void expectMountable() {
    EXPECT_EQ(mountByOther(), 0);
    EXPECT_EQ(::umount2(other.c_str(), 0), 0);
  }

  std::atomic<int> asks = 0;
  std::vector<std::string> lines;
  std::string type = GetParam();
  std::string other = folder.makeFolder("other");
  LoopDisk disk{{{kDataType, randomUUID(), type, mebibytesFor(type)}}};
  std::string name = disk.partition(1);
  std::string node = disk.partitionNode(1);
};
INSTANTIATE_TEST_SUITE_P(FileSystems, MountGateOn, testing::Values("ext4", "btrfs", "xfs"),
                         nameOfFileSystem);

TEST_P(MountGateOn, TellsOfWhatTheClaimRefuses) {
  auto session = guard(disks);
  EXPECT_EQ(openExclusively(node), EBUSY);
  expectEveryCallRefused();
  EXPECT_FALSE(log.has("claims alone"));
  endAndCountLines(std::move(session));
}

TEST_P(MountGateOn, RefusesASecondMountOfAVolumeThatWasMountedBefore) {
  ASSERT_EQ(tryMount(node, type), 0);
  auto session = guard(disks);
  expectEveryCallRefused();
  endAndCountLines(std::move(session));
  expectMountable();
  EXPECT_EQ(::umount2(place.c_str(), 0), 0);
}

TEST_P(MountGateOn, RefusesASecondMountOfAVolumeThatAnotherNamespaceHasMounted) {
  ChildProcess elsewhere(
      [&] { return ::unshare(CLONE_NEWNS) == 0 && mountNode(node, place, type) == 0; });
  auto session = guard(disks);
  expectEveryCallRefused();
  endAndCountLines(std::move(session));
  expectMountable();
}

// What the tests above would see of a machine without the gate.
TEST_P(MountGateOn, IsWhatRefusesTheSecondMount) {
  auto roots = rootsIn(folder);
  roots.mountGate.securityModules = folder.at("none");
  LinuxDisks without(log, roots);
  ASSERT_EQ(tryMount(node, type), 0);
  auto session = guard(without);
  const int before = asks;
  expectMountable();
  EXPECT_EQ(asks, before);
  EXPECT_FALSE(log.has("tried to mount"));
  EXPECT_EQ(log.count(LogLevel::info, "claims alone"), 1U);
  session.reset();
  EXPECT_EQ(::umount2(place.c_str(), 0), 0);
}

TEST_P(MountGateOn, LetsTheDaemonMountAndNobodyElseMeanwhile) {
  auto session = guard(disks);
  const auto data = volume(name);
  for (int round = 0; round < 3; ++round) {
    ErrorRef error;
    ASSERT_TRUE(data->mountAtTemporaryPath({}, &error)) << error->description();
    expectEveryCallRefused();
    EXPECT_TRUE(data->unmount({}, &error)) << error->description();
    EXPECT_EQ(openExclusively(node), EBUSY);
  }
  endAndCountLines(std::move(session));
}

TEST_P(MountGateOn, IsOpenAgainAfterUnscheduling) {
  ASSERT_EQ(tryMount(node, type), 0);
  const auto session = guard(disks);
  EXPECT_EQ(mountByOther(), EBUSY);
  session->setQueue(nullptr);
  const int before = asks;
  expectMountable();
  EXPECT_EQ(asks, before);
  EXPECT_EQ(log.count("tried to mount"), 1U);
  session->setQueue(queue);
  EXPECT_EQ(mountByOther(), EBUSY);
  session->setQueue(nullptr);
  EXPECT_EQ(log.count("tried to mount"), 2U);
  EXPECT_EQ(::umount2(place.c_str(), 0), 0);
}

TEST_P(MountGateOn, IsGoneAfterTheDaemonWasKilled) {
  ASSERT_EQ(tryMount(node, type), 0);
  ChildProcess daemon([&] {
    static TestLog childLog;
    static LinuxTaskQueues childQueues;
    static LinuxDisks childDisks(childLog);
    static const auto session = makeRefusingSession(childDisks, {disk.name()});
    session->setQueue(childQueues.createSerialQueue("child"));
    return true;
  });
  EXPECT_EQ(mountByOther(), EBUSY);
  daemon.kill();
  expectMountable();
  EXPECT_EQ(::umount2(place.c_str(), 0), 0);
}

class MountGateOfOneVolume : public MountGateOn {};
INSTANTIATE_TEST_SUITE_P(FileSystems, MountGateOfOneVolume, testing::Values("ext4"),
                         nameOfFileSystem);

TEST_P(MountGateOfOneVolume, AsksAboutAnyVolumeAndTellsOfTheRefusedAlone) {
  const LoopDisk foreign({{kLinuxDataType, "other", "ext4"}});
  std::atomic<int> foreignAsks = 0;
  auto session = disks.diskArbitration().createSession();
  session->registerMountApproval([&](DADisk& asked) -> std::optional<DADissent> {
    foreignAsks += asked.bsdName() == foreign.partition(1) ? 1 : 0;
    return std::nullopt;
  });
  session->setQueue(queue);
  EXPECT_EQ(foreignAsks, 1);
  const auto outcome = intrude([&] { return mountNode(foreign.partitionNode(1), other, "ext4"); });
  EXPECT_EQ(outcome.status, 0);
  EXPECT_TRUE(waitUntil([&] { return foreignAsks == 2; }));
  EXPECT_EQ(::umount2(other.c_str(), 0), 0);
  session.reset();
  EXPECT_FALSE(log.has("tried to mount"));
}

// A link that is followed in the tick of the clock in which it was made has the kernel note that
// again each time, which a look at what it remembers cannot.
bool waitForTheNextTick() {
  timespec made{};
  ::clock_gettime(CLOCK_REALTIME_COARSE, &made);
  return waitUntil([&made] {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME_COARSE, &now);
    return now.tv_sec != made.tv_sec || now.tv_nsec != made.tv_nsec;
  });
}

TEST_P(MountGateOfOneVolume, KnowsTheVolumeByEveryNameOfItsNode) {
  const auto link = folder.at("link");
  const auto second = folder.at("node");
  struct stat status {};
  ASSERT_EQ(::stat(node.c_str(), &status), 0);
  ASSERT_EQ(::symlink(node.c_str(), link.c_str()), 0);
  ASSERT_EQ(::mknod(second.c_str(), S_IFBLK | 0600, status.st_rdev), 0);
  ASSERT_TRUE(waitForTheNextTick());
  auto session = guard(disks);
  expectRefused([&] { return mountNode(link, other, type); });
  expectRefused([&] { return mountNode(second, other, type); });
  endAndCountLines(std::move(session));
}

// The names are those of the process, which has to be there for as long as they are looked up.
TEST_P(MountGateOfOneVolume, LooksANameUpAsTheProcessSeesIt) {
  auto session = guard(disks);
  ChildProcess inside([&] {
    return ::unshare(CLONE_NEWNS) == 0 && ::mount("none", "/mnt", "tmpfs", 0, nullptr) == 0 &&
           ::mkdir("/mnt/own", 0700) == 0 && ::mkdir("/mnt/dev", 0700) == 0 &&
           ::mount("/dev", "/mnt/dev", nullptr, MS_BIND, nullptr) == 0 &&
           ::symlink(("/dev/" + name).c_str(), "/mnt/own/volume") == 0 && waitForTheNextTick() &&
           ::chroot("/mnt") == 0 && ::chdir("/own") == 0 &&
           mountNode("/own/volume", "/own", type) == EBUSY &&
           mountNode("volume", "/own", type) == EBUSY &&
           mountNode("../dev/" + name, "/own", type) == EBUSY;
  });
  EXPECT_TRUE(waitUntil([&] { return log.count("tried to mount " + name) == 3; }));
  session.reset();
  EXPECT_EQ(log.count("tried to mount"), 3U);
}

TEST_P(MountGateOfOneVolume, TakesNoOtherFileSystemForTheVolume) {
  auto session = guard(disks);
  const int before = asks;
  const auto outcome = intrude(
      [&] { return ::mount(node.c_str(), other.c_str(), "tmpfs", 0, nullptr) == 0 ? 0 : errno; });
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(::umount2(other.c_str(), 0), 0);
  session.reset();
  EXPECT_EQ(asks, before);
  EXPECT_FALSE(log.has("tried to mount"));
}

// The number that the log tells of attempts that it could not keep.
std::size_t lostIn(const TestLog& log) {
  std::size_t lost = 0;
  for (const auto& text : log.all("came too fast")) {
    lost += std::stoul(text);
  }
  return lost;
}

TEST_P(MountGateOfOneVolume, CountsWhatItCannotKeepWhileTheQueueIsBusy) {
  constexpr std::size_t attempts = 200;
  auto session = guard(disks);
  std::promise<void> go;
  queue->async([&go] { go.get_future().wait(); });
  const auto outcome = intrude([&] {
    int refused = 0;
    for (std::size_t count = 0; count < attempts; ++count) {
      refused += mountNode(node, other, type) == EBUSY ? 1 : 0;
    }
    return refused;
  });
  EXPECT_EQ(outcome.status, static_cast<int>(attempts));
  go.set_value();
  session.reset();
  EXPECT_GT(lostIn(log), 0U);
  EXPECT_GT(log.count("tried to mount"), 32U);
  EXPECT_EQ(log.count("tried to mount") + lostIn(log), attempts);
}

TEST_P(MountGateOfOneVolume, LetsADevicePassAgainThatIsAllowed) {
  const BlockDevices devices("/sys", "/dev");
  MountGate gate(devices, "/proc", {}, log);
  ASSERT_EQ(gate.open(), std::nullopt);
  ASSERT_EQ(tryMount(node, type), 0);
  expectMountable();
  gate.refuse(*devices.find(name));
  EXPECT_EQ(mountByOther(), EBUSY);
  gate.allow(name);
  gate.allow(name);
  expectMountable();
  EXPECT_EQ(::umount2(place.c_str(), 0), 0);
}

}  // namespace

}  // namespace marrow
