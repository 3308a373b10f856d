#include "host/linux/linux_disks.h"
#include "host/linux/linux_task_queues.h"
#include "tests/contract/disk/disk_world.h"
#include "tests/linux/disk/child_process.h"
#include "tests/linux/disk/loop_disk.h"
#include "tests/linux/disk/test_log.h"
#include "tests/wait_until.h"

#include <csignal>
#include <fstream>
#include <map>
#include <sstream>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace marrow {

namespace {

const char* partitionType(WorldRole role) {
  switch (role) {
    case WorldRole::system:
      return kSystemType;
    case WorldRole::data:
      return kDataType;
    case WorldRole::preboot:
      return kPrebootType;
    case WorldRole::recovery:
      return kRecoveryType;
    case WorldRole::update:
      return kUpdateType;
  }
  return kLinuxDataType;
}

class LinuxDiskWorld final : public DiskWorld {
 public:
  ~LinuxDiskWorld() override {
    _children.clear();
    for (const auto& target : mountsBelow(_folder.at(""))) {
      ::umount2(target.c_str(), 0);
    }
  }

  DeviceRegistry& registry() override { return _machine.deviceRegistry(); }
  DVStaticMedia& media() override { return _machine.media(); }
  DiskArbitration& arbitration() override { return _machine.diskArbitration(); }
  DeviceNames& names() override { return _machine.deviceNames(); }
  std::shared_ptr<SerialTaskQueue> makeQueue(const std::string& label) override {
    return _queues.createSerialQueue(label);
  }

  std::string addContainer(const std::vector<WorldVolume>& volumes) override {
    std::vector<LoopPartition> partitions;
    for (const auto& volume : volumes) {
      partitions.push_back({partitionType(volume.role), volume.group, "ext4"});
    }
    return add(partitions);
  }
  std::string addPlainDisk() override { return add({{kLinuxDataType, "plain", "ext4"}}); }
  std::string volumeName(const std::string& disk, std::size_t index) override {
    return disk + "p" + std::to_string(index + 1);
  }
  std::uint64_t deviceNumber(const std::string& bsdName) override {
    struct stat status {};
    EXPECT_EQ(::stat(("/dev/" + bsdName).c_str(), &status), 0);
    return status.st_rdev;
  }

  bool mountByOthers(const std::string& volume, bool readOnly) override {
    const auto target = _folder.makeFolder("others/" + volume);
    return ::mount(("/dev/" + volume).c_str(), target.c_str(), "ext4",
                   readOnly ? static_cast<unsigned long>(MS_RDONLY) : 0UL, nullptr) == 0;
  }
  void unmountByOthers(const std::string& volume) override {
    EXPECT_EQ(::umount2(_folder.at("others/" + volume).c_str(), 0), 0);
  }
  std::size_t mountCount(const std::string& volume) override { return targets(volume).size(); }
  void holdBusy(const std::string& volume) override {
    const auto target = targets(volume).at(0);
    _children.push_back(
        std::make_unique<ChildProcess>([&target] { return ::chdir(target.c_str()) == 0; }));
  }

  void writeFile(const std::string& path, const std::string& text) override {
    std::ofstream(path) << text;
  }
  std::string readFile(const std::string& path) override {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
  }
  bool exists(const std::string& path) override { return ::access(path.c_str(), F_OK) == 0; }

  bool waitUntil(const std::function<bool()>& condition) override {
    return marrow::waitUntil(condition);
  }
  std::string newGroup() override { return randomUUID(); }

 private:
  std::string add(const std::vector<LoopPartition>& partitions) {
    _disks.push_back(std::make_unique<LoopDisk>(partitions));
    return _disks.back()->name();
  }
  static std::vector<std::string> targets(const std::string& volume) {
    return mountTargets("/dev/" + volume);
  }

  // In the order in which they may go: the last first.
  TestLog _log;
  std::vector<std::unique_ptr<LoopDisk>> _disks;
  TestFolder _folder;
  LinuxDiskRoots roots() {
    LinuxDiskRoots places;
    places.run = _folder.makeFolder("run");
    return places;
  }
  LinuxTaskQueues _queues;
  LinuxDisks _machine{_log, roots()};
  std::vector<std::unique_ptr<ChildProcess>> _children;
};

}  // namespace

std::unique_ptr<DiskWorld> makeLinuxDiskWorld() { return std::make_unique<LinuxDiskWorld>(); }

}  // namespace marrow
