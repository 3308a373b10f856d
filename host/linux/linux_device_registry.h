// The device registry over sysfs, the partition tables and the device tree. A volume's parent is
// its container's disk, a disk's parents are the devices above it in sysfs. Any thread.
#pragma once

#include "host/device_registry.h"
#include "host/linux/loam_containers.h"
#include "host/linux/registry_handles.h"
#include "host/linux/udev_queue.h"
#include "host/log.h"

#include <optional>
#include <string>
#include <vector>

namespace marrow {

class LinuxDeviceRegistry : public DeviceRegistry {
 public:
  struct Services {
    const BlockDevices& devices;
    const LoamContainers& containers;
    const DeviceTree& deviceTree;
    const UdevQueue& udevQueue;
    LogHandle& log;
  };

  explicit LinuxDeviceRegistry(const Services& services) : _services(services) {}

  // Warns in the log when several disks have a volume of the group that is asked for.
  RegistryHandle firstMatchingService(const RegistryMatch& match) override;
  RegistryHandle entryFromPath(std::string_view path) override;
  RegistryHandle parent(RegistryHandle entry, std::string_view plane) override;
  bool conformsTo(RegistryHandle entry, std::string_view registryClass) override;
  std::optional<PropertyListValue> property(RegistryHandle entry, std::string_view name) override;
  void waitQuiet(RegistryHandle entry) override;
  void retain(RegistryHandle entry) override;
  void release(RegistryHandle entry) override;

  // A new reference to the device's entry.
  RegistryEntry entryOf(const BlockDevice& device);

  // Absent when the entry is no block device, or its device has gone.
  std::optional<BlockDevice> deviceOf(RegistryHandle entry) const;

 private:
  std::vector<BlockDevice> matchingDevices(const RegistryMatch& match) const;
  void warnOfSeveralDisks(const std::vector<BlockDevice>& matches) const;
  std::optional<RegistryObject> above(const RegistryObject& object) const;

  Services _services;
  RegistryHandles _handles;
};

}  // namespace marrow
