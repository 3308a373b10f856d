// Real disks that come while the machine runs, with the real udev dealing with them at the same
// time.
#include "tests/linux/disk/late_disk.h"

#include "base_system/volume_wait.h"
#include "tests/linux/disk/linux_disk_test.h"

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <sys/mount.h>

namespace marrow {

namespace {

namespace fs = std::filesystem;

using std::chrono::milliseconds;

constexpr milliseconds kLong{60000};
constexpr milliseconds kShort{50};

// Udev does not end with a disk before the test says so.
constexpr char kSlowRule[] =
    "ACTION==\"add\", SUBSYSTEM==\"block\", "
    "RUN+=\"/bin/sh -c 'while [ ! -e /run/go-on ]; do sleep 0.05; done'\"";

class DiskThatComesLate : public LinuxDiskTest, public testing::WithParamInterface<const char*> {
 protected:
  std::unique_ptr<DASession> refuseGroup() {
    auto session = makeGroupRefusingSession(live, group);
    session->setQueue(queue);
    return session;
  }

  RegistryEntry volumeEntry() {
    PropertyListDictionary properties;
    properties.set("VolGroupUUID", group);
    auto& registry = live.deviceRegistry();
    return {registry, registry.firstMatchingService({"CorvaneLoamVolume", properties})};
  }

  std::string nameOf(const RegistryEntry& entry) {
    const auto text = live.deviceRegistry().property(entry.handle(), "BSD Name");
    const auto* found = text ? text->as<std::string>() : nullptr;
    return found != nullptr ? *found : std::string();
  }

  std::future<void> startWaitingForQuiet() {
    return std::async(std::launch::async,
                      [this] { live.deviceRegistry().waitQuiet(volumeEntry().handle()); });
  }

  void expectClaimed() {
    for (const unsigned number : {1U, 2U}) {
      const auto node = late.partitionNode(number);
      EXPECT_TRUE(waitUntil([&] { return openExclusively(node) == EBUSY; }))
          << node << "\n"
          << testing::PrintToString(log.all(""));
    }
    EXPECT_EQ(tryMount(late.partitionNode(2)), EBUSY);
  }

  // Whether this process has any node of the disk open, also one that has gone.
  bool isOpenHere() const {
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
      std::error_code gone;
      if (fs::read_symlink(entry, gone).native().starts_with("/dev/" + name)) {
        return true;
      }
    }
    return false;
  }

  static LinuxDiskRoots rootsWithUdev(const TestFolder& folder) {
    auto roots = rootsIn(folder);
    roots.run = "/run";
    return roots;
  }

  std::string name = GetParam();
  std::string group = randomUUID();
  LateDisk late{name, group};
  LinuxDisks live{log, rootsWithUdev(folder)};
};
INSTANTIATE_TEST_SUITE_P(Disks, DiskThatComesLate, testing::Values("vdc", "nvme0n1"),
                         nameOfFileSystem);

TEST_P(DiskThatComesLate, IsWaitedFor) {
  const LiveUdev udev;
  auto found =
      std::async(std::launch::async, [this] { return waitForSystemVolume(group, kLong, log); });
  EXPECT_EQ(found.wait_for(kShort), std::future_status::timeout);
  late.plugIn();
  EXPECT_TRUE(found.get());
}

TEST_P(DiskThatComesLate, IsInTheRegistryUnderTheNamesOfItsKind) {
  const LiveUdev udev;
  EXPECT_FALSE(volumeEntry());
  late.plugIn();
  ASSERT_TRUE(waitUntil([this] { return nameOf(volumeEntry()) == late.partition(1); }));
  auto& registry = live.deviceRegistry();
  const auto volume = volumeEntry();
  const RegistryEntry disk(registry, registry.parent(volume.handle(), "IOService"));
  EXPECT_EQ(nameOf(disk), name);
  EXPECT_TRUE(registry.conformsTo(disk.handle(), "CorvaneLoamMedia"));
}

TEST_P(DiskThatComesLate, IsClaimedWhileUdevLooksAtIt) {
  const LiveUdev udev;
  auto session = refuseGroup();
  late.plugIn();
  expectClaimed();
  ASSERT_TRUE(waitUntil([this] { return LiveUdev::knows(late.partition(2)); }));
  live.deviceRegistry().waitQuiet(volumeEntry().handle());
  expectClaimed();
  session.reset();
  EXPECT_EQ(tryMount(late.partitionNode(2)), 0);
  EXPECT_EQ(::umount2(place.c_str(), 0), 0);
}

TEST_P(DiskThatComesLate, IsLetGoWhenItIsPulledOutAndClaimedAgain) {
  const LiveUdev udev;
  auto session = refuseGroup();
  for (int round = 0; round < 3; ++round) {
    late.plugIn();
    expectClaimed();
    late.pullOut();
    // Who still has it open keeps its name, too: the next one would have another.
    EXPECT_TRUE(waitUntil([this] { return !isOpenHere() && !LiveUdev::hasQueue(); }));
  }
  session.reset();
}

TEST_P(DiskThatComesLate, IsQuietOnceUdevHasDealtWithIt) {
  const LiveUdev udev(kSlowRule);
  late.plugIn();
  ASSERT_TRUE(waitUntil([this] { return LiveUdev::hasQueue() && volumeEntry(); }));
  const auto quiet = startWaitingForQuiet();
  EXPECT_EQ(quiet.wait_for(kShort), std::future_status::timeout);
  std::ofstream("/run/go-on") << "\n";
  EXPECT_EQ(quiet.wait_for(kLong), std::future_status::ready);
  EXPECT_FALSE(LiveUdev::hasQueue());
  EXPECT_TRUE(LiveUdev::knows(late.partition(2)));
}

TEST_P(DiskThatComesLate, IsQuietWhereUdevWasKilledOverIt) {
  LiveUdev udev(kSlowRule);
  auto session = refuseGroup();
  late.plugIn();
  ASSERT_TRUE(waitUntil([this] { return LiveUdev::hasQueue() && volumeEntry(); }));
  const auto quiet = startWaitingForQuiet();
  EXPECT_EQ(quiet.wait_for(kShort), std::future_status::timeout);
  udev.kill();
  EXPECT_EQ(quiet.wait_for(kLong), std::future_status::ready);
  EXPECT_TRUE(LiveUdev::hasQueue());
  expectClaimed();
  session.reset();
  std::ofstream("/run/go-on") << "\n";
}

}  // namespace

}  // namespace marrow
