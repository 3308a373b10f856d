#include "host/linux/linux_device_registry.h"

#include <filesystem>
#include <unistd.h>
#include <utility>

namespace marrow {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kServicePlane = "IOService";
constexpr std::string_view kDeviceTreePrefix = "IODeviceTree:";
constexpr std::string_view kVolumeClass = "CorvaneLoamVolume";
constexpr std::string_view kMediaClass = "CorvaneLoamMedia";
constexpr char kNameProperty[] = "BSD Name";
constexpr char kGroupProperty[] = "VolGroupUUID";

PropertyListDictionary propertiesOf(const BlockDevice& device) {
  PropertyListDictionary properties;
  properties.set(kNameProperty, device.name);
  return properties;
}

PropertyListDictionary propertiesOf(const LoamVolumeRecord& volume) {
  auto properties = propertiesOf(volume.device);
  if (!volume.group.empty()) {
    properties.set(kGroupProperty, volume.group);
  }
  return properties;
}

bool hasAll(const PropertyListDictionary& properties, const PropertyListDictionary& wanted) {
  for (const auto& [key, value] : wanted.entries()) {
    const auto* found = properties.find(key);
    if (found == nullptr || *found != value) {
      return false;
    }
  }
  return true;
}

// The next directory upwards that is a device: sysfs has others in between ("block", "virtual").
std::optional<RegistryObject> deviceAbove(const std::string& directory) {
  for (fs::path above = fs::path(directory).parent_path(); above.has_relative_path();
       above = above.parent_path()) {
    if (::access((above / "uevent").c_str(), F_OK) == 0) {
      return SysfsEntry{above.native()};
    }
  }
  return std::nullopt;
}

}  // namespace

RegistryHandle LinuxDeviceRegistry::firstMatchingService(const RegistryMatch& match) {
  const auto matches = matchingDevices(match);
  if (matches.empty()) {
    return kNoRegistryHandle;
  }
  if (match.properties.find(kGroupProperty) != nullptr) {
    warnOfSeveralDisks(matches);
  }
  return _handles.open(matches.front());
}

std::vector<BlockDevice> LinuxDeviceRegistry::matchingDevices(const RegistryMatch& match) const {
  std::vector<BlockDevice> matches;
  for (const auto& container : _services.containers.all()) {
    if (match.providerClass == kMediaClass &&
        hasAll(propertiesOf(container.disk), match.properties)) {
      matches.push_back(container.disk);
    }
    for (const auto& volume : container.volumes) {
      if (match.providerClass == kVolumeClass && hasAll(propertiesOf(volume), match.properties)) {
        matches.push_back(volume.device);
      }
    }
  }
  return matches;
}

void LinuxDeviceRegistry::warnOfSeveralDisks(const std::vector<BlockDevice>& matches) const {
  const auto& taken = matches.front().disk;
  std::string others;
  std::string last = taken;
  for (const auto& device : matches) {
    if (device.disk != last) {
      others += " " + device.disk;
      last = device.disk;
    }
  }
  if (!others.empty()) {
    _services.log.log(LogLevel::standard, "Warning: the volume group is on several disks; using " +
                                              taken + ", not using:" + others);
  }
}

RegistryHandle LinuxDeviceRegistry::entryFromPath(std::string_view path) {
  if (!path.starts_with(kDeviceTreePrefix)) {
    return kNoRegistryHandle;
  }
  auto entry = _services.deviceTree.find(path.substr(kDeviceTreePrefix.size()));
  return entry ? _handles.open(std::move(*entry)) : kNoRegistryHandle;
}

RegistryHandle LinuxDeviceRegistry::parent(RegistryHandle entry, std::string_view plane) {
  const auto object = _handles.find(entry);
  const auto higher = object && plane == kServicePlane ? above(*object) : std::nullopt;
  return higher ? _handles.open(*higher) : kNoRegistryHandle;
}

std::optional<RegistryObject> LinuxDeviceRegistry::above(const RegistryObject& object) const {
  if (const auto* entry = std::get_if<SysfsEntry>(&object)) {
    return deviceAbove(entry->directory);
  }
  const auto* entry = std::get_if<BlockDevice>(&object);
  const auto device = entry == nullptr ? std::nullopt : _services.devices.current(*entry);
  if (!device) {
    return std::nullopt;
  }
  if (!device->isDisk()) {
    const auto disk = _services.devices.find(device->disk);
    return disk ? std::optional<RegistryObject>(*disk) : std::nullopt;
  }
  const auto directory = _services.devices.directory(device->name);
  return directory ? deviceAbove(*directory) : std::nullopt;
}

bool LinuxDeviceRegistry::conformsTo(RegistryHandle entry, std::string_view registryClass) {
  const auto device = deviceOf(entry);
  if (!device) {
    return false;
  }
  return (registryClass == kMediaClass && _services.containers.onDisk(*device)) ||
         (registryClass == kVolumeClass && _services.containers.volumeOn(*device));
}

std::optional<PropertyListValue> LinuxDeviceRegistry::property(RegistryHandle entry,
                                                               std::string_view name) {
  const auto object = _handles.find(entry);
  if (const auto* node = object ? std::get_if<DeviceTreeEntry>(&*object) : nullptr) {
    auto data = _services.deviceTree.property(*node, name);
    return data ? std::optional<PropertyListValue>(std::move(*data)) : std::nullopt;
  }
  const auto device = deviceOf(entry);
  if (!device) {
    return std::nullopt;
  }
  if (name == kNameProperty) {
    return device->name;
  }
  const auto volume =
      name == kGroupProperty ? _services.containers.volumeOn(*device) : std::nullopt;
  return volume && !volume->group.empty() ? std::optional<PropertyListValue>(volume->group)
                                          : std::nullopt;
}

// udev's queue is one for the whole machine.
void LinuxDeviceRegistry::waitQuiet(RegistryHandle) { _services.udevQueue.waitUntilEmpty(); }

void LinuxDeviceRegistry::retain(RegistryHandle entry) { _handles.retain(entry); }

void LinuxDeviceRegistry::release(RegistryHandle entry) { _handles.release(entry); }

RegistryEntry LinuxDeviceRegistry::entryOf(const BlockDevice& device) {
  return {*this, _handles.open(device)};
}

std::optional<BlockDevice> LinuxDeviceRegistry::deviceOf(RegistryHandle entry) const {
  const auto object = _handles.find(entry);
  const auto* device = object ? std::get_if<BlockDevice>(&*object) : nullptr;
  return device == nullptr ? std::nullopt : _services.devices.current(*device);
}

}  // namespace marrow
