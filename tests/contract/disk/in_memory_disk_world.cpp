#include "tests/contract/disk/disk_world.h"
#include "tests/host/in_memory_host.h"

#include <utility>

namespace marrow {

namespace {

VolumeRole inMemoryRole(WorldRole role) {
  switch (role) {
    case WorldRole::system:
      return VolumeRole::system;
    case WorldRole::data:
      return VolumeRole::data;
    case WorldRole::preboot:
      return VolumeRole::preboot;
    case WorldRole::recovery:
      return VolumeRole::recovery;
    case WorldRole::update:
      return VolumeRole::update;
  }
  return VolumeRole::other;
}

class InMemoryDiskWorld final : public DiskWorld {
 public:
  DeviceRegistry& registry() override { return _machine.registry; }
  DVStaticMedia& media() override { return _machine.partitions; }
  DiskArbitration& arbitration() override { return _machine.arbitration; }
  DeviceNames& names() override { return _machine.deviceNames; }
  std::shared_ptr<SerialTaskQueue> makeQueue(const std::string& label) override {
    return _machine.queues.createSerialQueue(label);
  }

  std::string addContainer(const std::vector<WorldVolume>& volumes) override {
    std::string disk = nextDisk();
    _machine.partitions.addContainer(disk);
    for (std::size_t index = 0; index < volumes.size(); ++index) {
      _machine.partitions.addVolume(
          disk, {volumeName(disk, index), inMemoryRole(volumes[index].role), volumes[index].group,
                 false});
    }
    return disk;
  }
  std::string addPlainDisk() override {
    std::string disk = nextDisk();
    _machine.partitions.addPlainDisk(disk);
    return disk;
  }
  std::string volumeName(const std::string& disk, std::size_t index) override {
    return disk + "s" + std::to_string(index + 1);
  }
  std::uint64_t deviceNumber(const std::string& bsdName) override {
    return _machine.partitions.deviceNumber(bsdName);
  }

  bool mountByOthers(const std::string& volume, bool readOnly) override {
    if (_machine.arbitration.isRefused(volume)) {
      return false;
    }
    _machine.partitions.mount(volume, "/Volumes/" + volume, readOnly);
    return true;
  }
  void unmountByOthers(const std::string& volume) override { _machine.partitions.unmount(volume); }
  std::size_t mountCount(const std::string& volume) override {
    return _machine.partitions.mountPaths(volume).size();
  }
  void holdBusy(const std::string& volume) override { _machine.partitions.holdBusy(volume); }

  void writeFile(const std::string& path, const std::string& text) override {
    _machine.fileSystem.write(path, text);
  }
  std::string readFile(const std::string& path) override {
    return _machine.fileSystem.contents(path).value_or("(absent)");
  }
  bool exists(const std::string& path) override { return _machine.fileSystem.exists(path); }

  bool waitUntil(const std::function<bool()>& condition) override {
    _machine.queues.runUntilIdle();
    return condition();
  }
  std::string newGroup() override {
    const std::string count = std::to_string(++_groups);
    return "11111111-2222-3333-4444-" + std::string(12 - count.size(), '0') + count;
  }

 private:
  std::string nextDisk() { return "disk" + std::to_string(++_disks); }

  InMemoryHost _machine;
  int _disks = 99;
  int _groups = 0;
};

}  // namespace

std::unique_ptr<DiskWorld> makeInMemoryDiskWorld() { return std::make_unique<InMemoryDiskWorld>(); }

}  // namespace marrow
