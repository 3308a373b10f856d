#include "tests/contract/disk/disk_world.h"

#include <algorithm>
#include <mutex>
#include <utility>

namespace marrow {

namespace {

class DiskArbitrationContract : public DiskContract {
 protected:
  // A session that refuses the volumes of this disk and notes what it is asked about.
  std::unique_ptr<DASession> refuse(std::string disk) {
    auto session = world->arbitration().createSession();
    session->registerMountApproval([this, disk = std::move(disk)](DADisk& asked) {
      const std::lock_guard lock(_mutex);
      _asked.push_back(asked.bsdName());
      return answer(asked, disk);
    });
    return session;
  }

  std::optional<DADissent> answer(DADisk& asked, const std::string& disk) {
    const auto entry = asked.copyMediaEntry();
    const auto media = world->media().mediaForRegistryEntry(entry.handle());
    const auto volume = media ? media->asVolume() : nullptr;
    // Disks of others come and go meanwhile.
    const auto asking = volume ? volume->container() : nullptr;
    const auto refused = container(disk);
    if (asking && refused && asking->isEqual(*refused)) {
      return DADissent{kDAReturnNotPermitted, "in use"};
    }
    return std::nullopt;
  }

  bool wasAskedAbout(const std::string& name) {
    const std::lock_guard lock(_mutex);
    return std::find(_asked.begin(), _asked.end(), name) != _asked.end();
  }

  std::shared_ptr<SerialTaskQueue> _queue = world->makeQueue("arbitration");
  std::mutex _mutex;
  std::vector<std::string> _asked;  // under _mutex
};
INSTANTIATE_TEST_SUITE_P(Worlds, DiskArbitrationContract, bothDiskWorlds(), nameOfDiskWorld);

TEST_P(DiskArbitrationContract, HasAskedAboutEveryDeviceWhenSchedulingReturns) {
  const auto disk = world->addContainer({{WorldRole::preboot}, {WorldRole::update}});
  const auto plain = world->addPlainDisk();
  const auto session = refuse(disk);
  session->setQueue(_queue);
  EXPECT_TRUE(wasAskedAbout(disk));
  EXPECT_TRUE(wasAskedAbout(world->volumeName(disk, 0)));
  EXPECT_TRUE(wasAskedAbout(world->volumeName(disk, 1)));
  EXPECT_TRUE(wasAskedAbout(plain));
}

TEST_P(DiskArbitrationContract, RefusesMountsOfOthersAndOnlyThose) {
  const auto disk = world->addContainer({{WorldRole::preboot}, {WorldRole::update}});
  const auto other = world->addContainer({{WorldRole::preboot}});
  const auto session = refuse(disk);
  session->setQueue(_queue);
  EXPECT_FALSE(world->mountByOthers(world->volumeName(disk, 0)));
  EXPECT_FALSE(world->mountByOthers(world->volumeName(disk, 1)));
  EXPECT_TRUE(world->mountByOthers(world->volumeName(other, 0)));
  EXPECT_TRUE(volume(disk, 0)->mountAtTemporaryPath({}, nullptr));
}

TEST_P(DiskArbitrationContract, DoesNotCallARefusedVolumeMounted) {
  const auto disk = world->addContainer({{WorldRole::preboot}});
  const auto session = refuse(disk);
  session->setQueue(_queue);
  EXPECT_FALSE(volume(disk, 0)->isMounted());
}

TEST_P(DiskArbitrationContract, RefusesAgainAfterAMountOfOurOwn) {
  const auto disk = world->addContainer({{WorldRole::preboot}});
  const auto session = refuse(disk);
  session->setQueue(_queue);
  ASSERT_TRUE(volume(disk, 0)->mountAtTemporaryPath({}, nullptr));
  EXPECT_TRUE(volume(disk, 0)->isMounted());
  EXPECT_TRUE(volume(disk, 0)->unmount({}, nullptr));
  EXPECT_FALSE(volume(disk, 0)->isMounted());
  EXPECT_FALSE(world->mountByOthers(world->volumeName(disk, 0)));
}

TEST_P(DiskArbitrationContract, RefusesAVolumeThatWasMountedOnceItIsUnmounted) {
  const auto disk = world->addContainer({{WorldRole::preboot}});
  const auto name = world->volumeName(disk, 0);
  ASSERT_TRUE(world->mountByOthers(name));
  const auto session = refuse(disk);
  session->setQueue(_queue);
  EXPECT_TRUE(volume(disk, 0)->isMounted());
  EXPECT_TRUE(volume(disk, 0)->unmount({{DVLoamVolumeUnmountOptionAll, true}}, nullptr));
  EXPECT_FALSE(world->mountByOthers(name));
}

TEST_P(DiskArbitrationContract, AsksAboutDevicesThatAppearLater) {
  const auto session = refuse("");
  session->setQueue(_queue);
  const auto disk = world->addContainer({{WorldRole::preboot}});
  EXPECT_TRUE(world->waitUntil([&] { return wasAskedAbout(world->volumeName(disk, 0)); }));
}

TEST_P(DiskArbitrationContract, RefusesNothingBeforeItIsScheduled) {
  const auto disk = world->addContainer({{WorldRole::preboot}});
  const auto session = refuse(disk);
  EXPECT_TRUE(world->mountByOthers(world->volumeName(disk, 0)));
  EXPECT_FALSE(wasAskedAbout(disk));
}

TEST_P(DiskArbitrationContract, RefusesNothingAfterItWasUnscheduled) {
  const auto disk = world->addContainer({{WorldRole::preboot}});
  const auto session = refuse(disk);
  session->setQueue(_queue);
  session->setQueue(nullptr);
  session->setQueue(nullptr);
  EXPECT_TRUE(world->mountByOthers(world->volumeName(disk, 0)));
}

TEST_P(DiskArbitrationContract, RefusesNothingAfterItWasDestroyed) {
  const auto disk = world->addContainer({{WorldRole::preboot}});
  auto session = refuse(disk);
  session->setQueue(_queue);
  session.reset();
  EXPECT_TRUE(world->mountByOthers(world->volumeName(disk, 0)));
}

}  // namespace

}  // namespace marrow
