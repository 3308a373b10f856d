// The disk services as a contract test sees them, on the real machine or in memory, with what a
// test needs around them: disks, other users of the machine, and a look at what is held.
#pragma once

#include "host/device_names.h"
#include "host/device_registry.h"
#include "host/disk_arbitration.h"
#include "host/partition_library.h"
#include "host/task_queues.h"

#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace marrow {

enum class WorldRole : std::uint8_t { system, data, preboot, recovery, update };

struct WorldVolume {
  WorldRole role = WorldRole::system;
  std::string group{};  // empty for none
};

class DiskWorld {
 public:
  virtual ~DiskWorld() = default;

  virtual DeviceRegistry& registry() = 0;
  virtual DVStaticMedia& media() = 0;
  virtual DiskArbitration& arbitration() = 0;
  virtual DeviceNames& names() = 0;
  virtual std::shared_ptr<SerialTaskQueue> makeQueue(const std::string& label) = 0;

  // A new container; returns its disk's BSD name.
  virtual std::string addContainer(const std::vector<WorldVolume>& volumes) = 0;
  // A disk without any of the volumes.
  virtual std::string addPlainDisk() = 0;
  // The BSD name of a container's volume, counted from 0.
  virtual std::string volumeName(const std::string& disk, std::size_t index) = 0;

  virtual std::uint64_t deviceNumber(const std::string& bsdName) = 0;

  // Somebody else mounts the volume, and unmounts it. False when that is refused.
  virtual bool mountByOthers(const std::string& volume, bool readOnly = false) = 0;
  virtual void unmountByOthers(const std::string& volume) = 0;
  // At how many places it is mounted.
  virtual std::size_t mountCount(const std::string& volume) = 0;

  // A process that keeps the volume, mounted by now, busy.
  virtual void holdBusy(const std::string& volume) = 0;

  virtual void writeFile(const std::string& path, const std::string& text) = 0;
  virtual std::string readFile(const std::string& path) = 0;
  virtual bool exists(const std::string& path) = 0;

  // Lets time pass until the condition holds. False when it does not within some seconds.
  virtual bool waitUntil(const std::function<bool()>& condition) = 0;

  // A UUID that no other disk of the machine has.
  virtual std::string newGroup() = 0;
};

using DiskWorldFactory = std::unique_ptr<DiskWorld> (*)();

std::unique_ptr<DiskWorld> makeLinuxDiskWorld();
std::unique_ptr<DiskWorld> makeInMemoryDiskWorld();

// A suite that runs on both.
class DiskContract : public testing::TestWithParam<DiskWorldFactory> {
 protected:
  std::shared_ptr<DVStaticLoamContainer> container(const std::string& disk) {
    const auto found = world->media().mediaForBSDName(disk);
    return found ? found->asContainer() : nullptr;
  }
  std::shared_ptr<DVStaticLoamVolume> volume(const std::string& disk, std::size_t index) {
    const auto found = world->media().mediaForBSDName(world->volumeName(disk, index));
    return found ? found->asVolume() : nullptr;
  }
  RegistryEntry firstVolumeOf(const std::string& group) {
    PropertyListDictionary properties;
    properties.set("VolGroupUUID", group);
    return {world->registry(),
            world->registry().firstMatchingService({"CorvaneLoamVolume", properties})};
  }
  std::string text(const RegistryEntry& entry, const std::string& name) {
    const auto value = world->registry().property(entry.handle(), name);
    const auto* found = value ? value->as<std::string>() : nullptr;
    return found == nullptr ? "(absent)" : *found;
  }

  std::unique_ptr<DiskWorld> world = GetParam()();
};

inline std::string nameOfDiskWorld(const testing::TestParamInfo<DiskWorldFactory>& info) {
  return info.index == 0 ? "Linux" : "InMemory";
}

inline auto bothDiskWorlds() {
  return testing::Values(&makeLinuxDiskWorld, &makeInMemoryDiskWorld);
}

}  // namespace marrow
