// The partition library: containers with volumes, each volume with a tree of files, a device node,
// a registry entry, mounts, and keys that are loaded by a mount. The objects that it hands out are
// new at each call.
#pragma once

#include "host/partition_library.h"
#include "tests/host/calls.h"
#include "tests/host/in_memory_file_system.h"
#include "tests/host/in_memory_files.h"
#include "tests/host/in_memory_registry.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace marrow {

enum class VolumeRole : std::uint8_t { system, data, preboot, recovery, update, other };

struct VolumeDescription {
  std::string bsdName;  // "disk0s3"
  VolumeRole role = VolumeRole::other;
  std::string group;  // empty for none
  bool encrypted = false;
};

class InMemoryPartitions : public DVStaticMedia {
 public:
  InMemoryPartitions(Calls& calls, InMemoryFileSystem& fileSystem, InMemoryFiles& files,
                     InMemoryRegistry& registry);

  std::shared_ptr<DVStaticMediaObject> mediaForBSDName(const std::string& name) override;
  std::shared_ptr<DVStaticMediaObject> mediaForRegistryEntry(RegistryHandle entry) override;

  // ---- For tests. Names are BSD names.

  // A new disk, below the registry's root; its volumes come in the order in which they are added.
  // Device nodes /dev/NAME (block) and /dev/rNAME (character) have the same number.
  void addContainer(const std::string& disk);
  void addVolume(const std::string& disk, const VolumeDescription& description);
  void removeVolume(const std::string& volume);
  void removeContainer(const std::string& disk);
  // A disk that is no container, such as a stick without a partition table.
  void addPlainDisk(const std::string& disk);

  // Mounts as the system does, without asking anybody.
  void mount(const std::string& volume, const std::string& path, bool readOnly = false);
  // Undoes every mount of the volume.
  void unmount(const std::string& volume);

  bool isMounted(const std::string& volume) const;
  std::vector<std::string> mountPaths(const std::string& volume) const;
  std::vector<std::string> mountedVolumes() const;  // in the order of the disks
  bool isUnlocked(const std::string& volume) const;

  // Some process holds the volume: unmounting is EBUSY unless forced; forcing ends the process,
  // unless it is one that cannot be ended.
  void holdBusy(const std::string& volume, bool canBeEnded = true);

  // Mounted where nobody sees it: isMounted is true, there is no mount point.
  void setMountedElsewhere(const std::string& volume, bool mounted);

  // The path at which a test finds the volume's files, mounted or not: "/@NAME".
  static std::string root(const std::string& volume) { return "/@" + volume; }

  // Absent when there is no such volume.
  std::optional<VolumeDescription> description(const std::string& volume) const;
  // The volume's device number; 0 when there is none.
  std::uint64_t deviceNumber(const std::string& name) const;
  // The name that has this number; absent when there is none.
  std::optional<std::string> nameOfDevice(std::uint64_t deviceNumber) const;
  // Every disk and volume, in order.
  const std::vector<std::string>& names() const { return _names; }

  bool isVolume(const std::string& name) const { return _volumes.contains(name); }

  // Told of each disk and volume that is added.
  void setAppearanceListener(std::function<void(const std::string&)> listener);

  // Undoes every mount and locks every volume, as a restart does.
  void unmountAll();

 private:
  static constexpr std::uint64_t kFirstDeviceNumber = 0x10300;

  friend class InMemoryContainer;
  friend class InMemoryVolume;

  struct Volume {
    VolumeDescription description;
    std::string disk;
    bool unlocked = false;
    bool busy = false;
    bool holderCanBeEnded = true;
    bool mountedElsewhere = false;
    int temporaryMounts = 0;
    std::vector<std::string> ownMounts;
  };

  void addDisk(const std::string& disk, const std::string& registryClass);
  void addNode(const std::string& name);
  void removeNode(const std::string& name);
  Volume& known(const std::string& volume);
  const Volume* find(const std::string& volume) const;
  std::shared_ptr<DVStaticMediaObject> media(const std::string& name);
  std::vector<std::string> volumesOf(const std::string& disk) const;
  std::optional<std::string> writableMountPoint(const std::string& volume) const;
  std::string mountTemporarily(Volume& volume, bool readOnly);
  // 0 or an errno value.
  int unmount(Volume& volume, const VolumeOptions& options);
  bool makeFree(Volume& volume, bool force) const;
  void unmountAt(Volume& volume, const std::string& path);

  Calls& _calls;
  InMemoryFileSystem& _fileSystem;
  InMemoryFiles& _files;
  InMemoryRegistry& _registry;
  RegistryHandle _controller = kNoRegistryHandle;
  std::vector<std::string> _names;  // of disks and volumes, in order
  std::vector<std::string> _containers;
  std::map<std::string, Volume> _volumes;
  std::map<std::string, std::uint64_t> _deviceNumbers;
  std::function<void(const std::string&)> _appearanceListener;
  std::uint64_t _lastDeviceNumber = kFirstDeviceNumber;
};

}  // namespace marrow
