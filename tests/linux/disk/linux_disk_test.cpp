#include "tests/linux/disk/linux_disk_test.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>

namespace marrow {

int mountNode(const std::string& node, const std::string& target, const std::string& type,
              unsigned long flags) {
  return ::mount(node.c_str(), target.c_str(), type.c_str(), flags, nullptr) == 0 ? 0 : errno;
}

int openExclusively(const std::string& node) {
  const int descriptor = ::open(node.c_str(), O_RDONLY | O_EXCL | O_CLOEXEC);
  const int error = errno;
  if (descriptor >= 0) {
    ::close(descriptor);
  }
  return descriptor >= 0 ? 0 : error;
}

LinuxDiskTest::LinuxDiskTest() = default;

LinuxDiskTest::~LinuxDiskTest() = default;

LinuxDiskRoots LinuxDiskTest::rootsIn(const TestFolder& folder) {
  LinuxDiskRoots roots;
  roots.run = folder.makeFolder("run");
  roots.deviceTree = folder.at("device-tree");
  roots.efivars = folder.at("efivars");
  return roots;
}

std::unique_ptr<DASession> LinuxDiskTest::refuse(const std::vector<std::string>& refused) {
  auto session = makeRefusingSession(disks, refused);
  session->setQueue(queue);
  return session;
}

std::unique_ptr<DASession> makeRefusingSession(LinuxDisks& disks,
                                               const std::vector<std::string>& refused) {
  auto session = disks.diskArbitration().createSession();
  session->registerMountApproval([&disks, refused](DADisk& disk) -> std::optional<DADissent> {
    const auto entry = disk.copyMediaEntry();
    const auto media = disks.media().mediaForRegistryEntry(entry.handle());
    const auto volume = media ? media->asVolume() : nullptr;
    const auto name = disk.bsdName();
    const bool isRefused =
        std::any_of(refused.begin(), refused.end(),
                    [&name](const std::string& each) { return name.starts_with(each + "p"); });
    return volume && isRefused ? std::optional(DADissent{kDAReturnNotPermitted, "in use"})
                               : std::nullopt;
  });
  return session;
}

std::unique_ptr<DASession> makeGroupRefusingSession(LinuxDisks& disks, const std::string& group) {
  auto session = disks.diskArbitration().createSession();
  session->registerMountApproval([&disks, group](DADisk& asked) -> std::optional<DADissent> {
    const auto media = disks.media().mediaForBSDName(asked.bsdName());
    const auto volume = media ? media->asVolume() : nullptr;
    return volume && volume->volumeGroupUUID() == group
               ? std::optional(DADissent{kDAReturnNotPermitted, "in use"})
               : std::nullopt;
  });
  return session;
}

std::shared_ptr<DVStaticLoamVolume> LinuxDiskTest::volume(const std::string& name) {
  const auto media = disks.media().mediaForBSDName(name);
  EXPECT_NE(media, nullptr) << name;
  return media ? media->asVolume() : nullptr;
}

std::shared_ptr<DVStaticLoamContainer> LinuxDiskTest::container(const std::string& name) {
  const auto media = disks.media().mediaForBSDName(name);
  EXPECT_NE(media, nullptr) << name;
  return media ? media->asContainer() : nullptr;
}

int LinuxDiskTest::tryMount(const std::string& node, const std::string& type, unsigned long flags) {
  return mountNode(node, place, type, flags);
}

}  // namespace marrow
