#include "tests/host/in_memory_partitions.h"

#include "tests/host/in_memory_media.h"

#include <algorithm>
#include <cerrno>
#include <gtest/gtest.h>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace marrow {

namespace {

bool isSet(const VolumeOptions& options, const char* key) {
  const auto found = options.find(key);
  return found != options.end() && found->second;
}

PropertyListDictionary properties(const std::string& bsdName, const std::string& group) {
  PropertyListDictionary dictionary;
  dictionary.set("BSD Name", bsdName);
  if (!group.empty()) {
    dictionary.set("VolGroupUUID", group);
  }
  return dictionary;
}

std::string withoutFolder(const std::string& name) {
  const std::string folder = "/dev/";
  return name.starts_with(folder) ? name.substr(folder.size()) : name;
}

}  // namespace

InMemoryPartitions::InMemoryPartitions(Calls& calls, InMemoryFileSystem& fileSystem,
                                       InMemoryFiles& files, InMemoryRegistry& registry)
    : _calls(calls), _fileSystem(fileSystem), _files(files), _registry(registry) {
  const RegistryHandle root = _registry.add({"IORegistryRoot", {}, kNoRegistryHandle, {}, ""});
  _controller = _registry.add({"CorvaneStorageController", {"IOService"}, root, {}, ""});
}

std::shared_ptr<DVStaticMediaObject> InMemoryPartitions::mediaForBSDName(const std::string& name) {
  if (_calls.made("DVStaticMedia.mediaForBSDName", name)) {
    return nullptr;
  }
  return media(withoutFolder(name));
}

std::shared_ptr<DVStaticMediaObject> InMemoryPartitions::mediaForRegistryEntry(
    RegistryHandle entry) {
  const std::string name = _registry.bsdName(entry);
  if (_calls.made("DVStaticMedia.mediaForRegistryEntry", name.empty() ? "none" : name)) {
    return nullptr;
  }
  return media(name);
}

void InMemoryPartitions::addContainer(const std::string& disk) {
  _containers.push_back(disk);
  addDisk(disk, "CorvaneLoamMedia");
}

void InMemoryPartitions::addPlainDisk(const std::string& disk) { addDisk(disk, "IOMedia"); }

void InMemoryPartitions::addVolume(const std::string& disk, const VolumeDescription& description) {
  const std::string& name = description.bsdName;
  _volumes[name].description = description;
  _volumes[name].disk = disk;
  _fileSystem.addVolume(name);
  _registry.add({"CorvaneLoamVolume",
                 {"IOMedia", "IOService"},
                 _registry.named(disk),
                 properties(name, description.group),
                 ""});
  addNode(name);
}

void InMemoryPartitions::removeVolume(const std::string& volume) {
  unmount(volume);
  _registry.remove(_registry.named(volume));
  _fileSystem.removeVolume(volume);
  _volumes.erase(volume);
  removeNode(volume);
}

void InMemoryPartitions::removeContainer(const std::string& disk) {
  for (const std::string& volume : volumesOf(disk)) {
    removeVolume(volume);
  }
  std::erase(_containers, disk);
  _registry.remove(_registry.named(disk));
  removeNode(disk);
}

void InMemoryPartitions::mount(const std::string& volume, const std::string& path, bool readOnly) {
  known(volume).unlocked = true;
  _fileSystem.mount(volume, path, readOnly);
}

void InMemoryPartitions::unmount(const std::string& volume) {
  for (const std::string& path : mountPaths(volume)) {
    unmountAt(known(volume), path);
  }
  known(volume).mountedElsewhere = false;
}

bool InMemoryPartitions::isMounted(const std::string& volume) const {
  const Volume* asked = find(volume);
  return asked != nullptr && (asked->mountedElsewhere || !mountPaths(volume).empty());
}

std::vector<std::string> InMemoryPartitions::mountPaths(const std::string& volume) const {
  std::vector<std::string> paths;
  for (const FileMount& mount : _fileSystem.mounts()) {
    if (mount.volume == volume) {
      paths.push_back(mount.path);
    }
  }
  return paths;
}

std::vector<std::string> InMemoryPartitions::mountedVolumes() const {
  std::vector<std::string> mounted;
  std::copy_if(_names.begin(), _names.end(), std::back_inserter(mounted),
               [&](const std::string& name) { return isMounted(name); });
  return mounted;
}

bool InMemoryPartitions::isUnlocked(const std::string& volume) const {
  const Volume* asked = find(volume);
  return asked != nullptr && (asked->unlocked || !asked->description.encrypted);
}

void InMemoryPartitions::holdBusy(const std::string& volume, bool canBeEnded) {
  known(volume).busy = true;
  known(volume).holderCanBeEnded = canBeEnded;
}

void InMemoryPartitions::setMountedElsewhere(const std::string& volume, bool mounted) {
  known(volume).mountedElsewhere = mounted;
}

std::optional<VolumeDescription> InMemoryPartitions::description(const std::string& volume) const {
  const Volume* asked = find(volume);
  return asked == nullptr ? std::nullopt : std::optional(asked->description);
}

std::uint64_t InMemoryPartitions::deviceNumber(const std::string& name) const {
  const auto found = _deviceNumbers.find(name);
  return found == _deviceNumbers.end() ? 0 : found->second;
}

std::optional<std::string> InMemoryPartitions::nameOfDevice(std::uint64_t deviceNumber) const {
  const auto found = std::find_if(_deviceNumbers.begin(), _deviceNumbers.end(),
                                  [&](const auto& entry) { return entry.second == deviceNumber; });
  return found == _deviceNumbers.end() ? std::nullopt : std::optional(found->first);
}

void InMemoryPartitions::setAppearanceListener(std::function<void(const std::string&)> listener) {
  _appearanceListener = std::move(listener);
}

void InMemoryPartitions::unmountAll() {
  for (auto& [name, volume] : _volumes) {
    unmount(name);
    volume.unlocked = false;
    volume.busy = false;
    volume.temporaryMounts = 0;
  }
}

void InMemoryPartitions::addDisk(const std::string& disk, const std::string& registryClass) {
  _registry.add({registryClass, {"IOMedia", "IOService"}, _controller, properties(disk, ""), ""});
  addNode(disk);
}

void InMemoryPartitions::addNode(const std::string& name) {
  _names.push_back(name);
  _deviceNumbers[name] = ++_lastDeviceNumber;
  _fileSystem.makeDevice("/dev/" + name, FileKind::blockDevice, _lastDeviceNumber);
  _fileSystem.makeDevice("/dev/r" + name, FileKind::characterDevice, _lastDeviceNumber);
  if (_appearanceListener) {
    _appearanceListener(name);
  }
}

void InMemoryPartitions::removeNode(const std::string& name) {
  std::erase(_names, name);
  _deviceNumbers.erase(name);
  _fileSystem.remove("/dev/" + name);
  _fileSystem.remove("/dev/r" + name);
}

InMemoryPartitions::Volume& InMemoryPartitions::known(const std::string& volume) {
  const auto found = _volumes.find(volume);
  if (found == _volumes.end()) {
    ADD_FAILURE() << "there is no volume " << volume;
    throw std::out_of_range(volume);
  }
  return found->second;
}

const InMemoryPartitions::Volume* InMemoryPartitions::find(const std::string& volume) const {
  const auto found = _volumes.find(volume);
  return found == _volumes.end() ? nullptr : &found->second;
}

std::vector<std::string> InMemoryPartitions::volumesOf(const std::string& disk) const {
  std::vector<std::string> volumes;
  std::copy_if(_names.begin(), _names.end(), std::back_inserter(volumes),
               [&](const std::string& name) {
                 const Volume* volume = find(name);
                 return volume != nullptr && volume->disk == disk;
               });
  return volumes;
}

std::shared_ptr<DVStaticMediaObject> InMemoryPartitions::media(const std::string& name) {
  if (isVolume(name)) {
    return std::make_shared<InMemoryVolume>(*this, name);
  }
  if (std::find(_containers.begin(), _containers.end(), name) != _containers.end()) {
    return std::make_shared<InMemoryContainer>(*this, name);
  }
  return _deviceNumbers.contains(name) ? std::make_shared<InMemoryPlainDisk>(name) : nullptr;
}

std::optional<std::string> InMemoryPartitions::writableMountPoint(const std::string& volume) const {
  for (const FileMount& mount : _fileSystem.mounts()) {
    if (mount.volume == volume && !mount.readOnly) {
      return mount.path;
    }
  }
  return std::nullopt;
}

std::string InMemoryPartitions::mountTemporarily(Volume& volume, bool readOnly) {
  const std::string& name = volume.description.bsdName;
  const std::string path =
      "/run/marrow/mnt/" + name + "-" + std::to_string(++volume.temporaryMounts);
  volume.ownMounts.push_back(path);
  mount(name, path, readOnly);
  return path;
}

int InMemoryPartitions::unmount(Volume& volume, const VolumeOptions& options) {
  const std::string name = volume.description.bsdName;
  const bool all = isSet(options, DVLoamVolumeUnmountOptionAll);
  const auto paths = all ? mountPaths(name) : volume.ownMounts;
  if (!isMounted(name)) {
    return 0;
  }
  const bool nothingOfOurs = paths.empty() && !all;
  if (nothingOfOurs || !makeFree(volume, isSet(options, DVLoamVolumeUnmountOptionForce))) {
    return EBUSY;
  }
  for (const std::string& path : paths) {
    unmountAt(volume, path);
  }
  volume.mountedElsewhere = volume.mountedElsewhere && !all;
  const bool locks = !isSet(options, DVLoamVolumeUnmountOptionDoNotLock) && !isMounted(name);
  volume.unlocked = volume.unlocked && !locks;
  return 0;
}

// Ends whatever holds the volume, where that is allowed; false when something still does.
bool InMemoryPartitions::makeFree(Volume& volume, bool force) const {
  volume.busy = volume.busy && !(force && volume.holderCanBeEnded);
  return !volume.busy && !_files.holdsOpen(volume.description.bsdName);
}

void InMemoryPartitions::unmountAt(Volume& volume, const std::string& path) {
  _fileSystem.unmount(path);
  if (std::erase(volume.ownMounts, path) > 0) {
    _fileSystem.remove(path);
  }
}

}  // namespace marrow
