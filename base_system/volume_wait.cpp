#include "base_system/volume_wait.h"

#include "host/linux/device_events.h"
#include "host/linux/loam_containers.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>

namespace marrow {

namespace {

// A volume without a group has an empty one here, which is none to wait for.
bool hasSystemVolume(const LoamContainerRecord& container, const std::string& group) {
  return std::any_of(container.volumes.begin(), container.volumes.end(), [&](const auto& volume) {
    return volume.role == LoamVolumeRole::system && !group.empty() && volume.group == group;
  });
}

bool isThere(const LoamContainers& containers, const std::string& group) {
  const auto all = containers.all();
  return std::any_of(all.begin(), all.end(),
                     [&](const auto& container) { return hasSystemVolume(container, group); });
}

// Set by one thread, waited for by another.
class Flag {
 public:
  void set() {
    const std::lock_guard lock(_mutex);
    _isSet = true;
    _changed.notify_all();
  }
  bool waitFor(std::chrono::milliseconds limit) {
    std::unique_lock lock(_mutex);
    return _changed.wait_for(lock, limit, [this] { return _isSet; });
  }

 private:
  std::mutex _mutex;
  std::condition_variable _changed;
  bool _isSet = false;  // under _mutex
};

}  // namespace

bool waitForSystemVolume(const std::string& group, std::chrono::milliseconds limit, LogHandle& log,
                         const LinuxDiskRoots& roots) {
  const BlockDevices devices(roots.sysfs, roots.dev);
  const DeviceStack stack(devices);
  const LoamContainers containers(devices, stack);
  Flag found;
  DeviceEvents events(roots.procfs, log);
  events.open();
  const auto look = [&] {
    if (isThere(containers, group)) {
      found.set();
    }
    return false;  // only an event is a reason to look again
  };
  events.start({.deviceChanged = [](const BlockDeviceEvent&) {}, .lookAgain = look});
  return found.waitFor(limit);  // the thread ends with `events`
}

}  // namespace marrow
