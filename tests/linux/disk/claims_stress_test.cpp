// Claims while disks come and go, volumes are mounted and unmounted, and somebody asks for all of
// them: meant for the thread checker.
#include "tests/linux/disk/linux_disk_test.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <memory>
#include <poll.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace marrow {

namespace {

// A process of its own that plugs disks in and out: programs that were started from here would
// inherit claims for a moment.
class ComingDisks {
 public:
  // Disks of the group come one after another and stay; others come and go all the while.
  ComingDisks(const std::string& group, int staying) {
    EXPECT_EQ(::pipe(_control.data()), 0);
    EXPECT_EQ(::pipe(_nodes.data()), 0);
    _child = ::fork();
    if (_child == 0) {
      ::close(_control[1]);
      plug(group, staying);
      ::_exit(testing::Test::HasFailure() ? 1 : 0);
    }
    ::close(_control[0]);
    ::close(_nodes[1]);
  }
  ComingDisks(const ComingDisks&) = delete;
  ComingDisks& operator=(const ComingDisks&) = delete;
  // All of them go.
  ~ComingDisks() {
    ::close(_control[1]);
    int status = 0;
    EXPECT_EQ(::waitpid(_child, &status, 0), _child);
    EXPECT_EQ(status, 0);
    ::close(_nodes[0]);
  }

  // The node of the volume of the next disk that stays.
  std::string next() const {
    std::string node;
    for (char byte = 0; ::read(_nodes[0], &byte, 1) == 1 && byte != '\n';) {
      node += byte;
    }
    return node;
  }

 private:
  bool goesOn() const {
    pollfd control{_control[0], POLLIN, 0};
    return ::poll(&control, 1, 0) == 0;
  }
  void plug(const std::string& group, int staying) const {
    std::vector<std::unique_ptr<LoopDisk>> stay;
    while (goesOn()) {
      const LoopDisk foreign({{kDataType, randomUUID()}, {kLinuxDataType, "x"}});
      if (static_cast<int>(stay.size()) < staying) {
        stay.push_back(std::make_unique<LoopDisk>(std::vector<LoopPartition>{{kDataType, group}}));
        const std::string line = stay.back()->partitionNode(1) + '\n';
        EXPECT_EQ(::write(_nodes[1], line.data(), line.size()), static_cast<ssize_t>(line.size()));
      }
    }
  }

  std::array<int, 2> _control{};
  std::array<int, 2> _nodes{};
  pid_t _child = -1;
};

class ClaimsUnderStress : public LinuxDiskTest {
 protected:
  ~ClaimsUnderStress() override { stop(); }

  // Repeats the work on a thread of its own until stop(). Counts the rounds.
  std::shared_ptr<std::atomic<int>> repeat(std::function<void()> work) {
    auto rounds = std::make_shared<std::atomic<int>>(0);
    threads.emplace_back([this, rounds, work = std::move(work)] {
      while (!stopped) {
        work();
        ++*rounds;
      }
    });
    return rounds;
  }
  void stop() {
    stopped = true;
    for (std::thread& thread : threads) {
      thread.join();
    }
    threads.clear();
  }

  // As the daemon's session does.
  std::unique_ptr<DASession> refuseOwnGroup() {
    auto session = disks.diskArbitration().createSession();
    session->registerMountApproval([this](DADisk& asked) -> std::optional<DADissent> {
      const auto media = disks.media().mediaForBSDName(asked.bsdName());
      const auto found = media ? media->asVolume() : nullptr;
      return found && found->volumeGroupUUID() == group
                 ? std::optional(DADissent{kDAReturnNotPermitted, "in use"})
                 : std::nullopt;
    });
    session->setQueue(queue);
    return session;
  }
  void mountAndUnmount(const std::string& name) {
    const auto asked = volume(name);
    ErrorRef error;
    EXPECT_TRUE(asked->mountAtTemporaryPath({}, &error)) << error->description();
    EXPECT_TRUE(asked->unmount({}, &error)) << error->description();
  }
  void askForAll(const std::string& disk) {
    for (const auto& each : container(disk)->volumes()) {
      each->volumeGroupUUID();
      each->mountPoint();
    }
  }

  const std::string group = randomUUID();
  std::atomic<bool> stopped = false;
  std::vector<std::thread> threads;
};

TEST_F(ClaimsUnderStress, HoldForAsLongAsTheSessionDoes) {
  constexpr int kStaying = 4;
  const LoopDisk disk({{kDataType, group, "ext4"}, {kDataType, group, "ext4"}});
  const ComingDisks coming(group, kStaying);
  auto session = refuseOwnGroup();
  const auto mounts = repeat([&] { mountAndUnmount(disk.partition(2)); });
  const auto questions = repeat([&] {
    askForAll(disk.name());
    EXPECT_FALSE(volume(disk.partition(1))->isMounted());
  });
  std::vector<std::string> late;
  for (int number = 0; number < kStaying; ++number) {
    late.push_back(coming.next());
    EXPECT_TRUE(waitUntil([&] { return openExclusively(late.back()) == EBUSY; })) << late.back();
    EXPECT_EQ(openExclusively(disk.partitionNode(1)), EBUSY);
  }
  EXPECT_TRUE(waitUntil([&] { return *mounts >= kStaying && *questions >= kStaying; }));
  session.reset();
  stop();
  for (const auto& node : late) {
    EXPECT_EQ(openExclusively(node), 0) << node;
  }
  EXPECT_EQ(openExclusively(disk.partitionNode(1)), 0);
  EXPECT_EQ(openExclusively(disk.partitionNode(2)), 0);
}

TEST_F(ClaimsUnderStress, AreAllGoneWhenASessionEndsAmongThem) {
  constexpr int kSessions = 10;
  const LoopDisk disk(std::vector<LoopPartition>(8, {kDataType, group, "", 1}));
  const ComingDisks coming(group, 0);
  repeat([&] { askForAll(disk.name()); });
  for (int count = 0; count < kSessions; ++count) {
    auto session = refuseOwnGroup();
    EXPECT_EQ(openExclusively(disk.partitionNode(8)), EBUSY);
    session.reset();
    for (unsigned number = 1; number <= 8; ++number) {
      EXPECT_EQ(openExclusively(disk.partitionNode(number)), 0) << number;
    }
  }
  stop();
}

}  // namespace

}  // namespace marrow
