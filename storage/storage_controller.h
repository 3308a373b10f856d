// The daemon's single view of the boot disk: the booted volume group, the container that holds it,
// and what is done to that container as a whole. Nothing about the volumes is remembered: every
// answer is worked out anew, and asking for a mount point may mount the volume, which then stays
// mounted.
//
// One thread at a time uses a controller; mount requests alone are decided on a queue of its own.
#pragma once

#include "host/device_registry.h"
#include "host/disk_arbitration.h"
#include "host/error_record.h"
#include "host/files.h"
#include "host/kernel_variables.h"
#include "host/partition_library.h"
#include "host/process.h"
#include "host/property_list_files.h"
#include "host/task_queues.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace marrow {

inline constexpr char kMWStorageControllerErrorDomain[] = "MWStorageControllerErrorDomain";

// Codes of that domain.
inline constexpr std::int64_t kMWStorageControllerErrorContainerNotFound = 1;

class MWStorageController {
 public:
  // All of them outlive the controller.
  struct Services {
    KernelVariables& kernelVariables;
    DeviceRegistry& deviceRegistry;
    DVStaticMedia& media;
    DiskArbitration& diskArbitration;
    TaskQueues& taskQueues;
    Files& files;
    PropertyListFiles& propertyListFiles;
    Process& process;
  };

  // Finds the booted group and its container. Null with an error record when a kernel variable
  // cannot be read (POSIX domain) or no container holds the group (the controller's own domain).
  // Refuses no mounts yet.
  static std::shared_ptr<MWStorageController> initWithError(const Services& services,
                                                            ErrorSlot error);

  // Stops refusing mounts and waits until no decision is pending. Unmounts nothing. Must not run on
  // the controller's own queue.
  ~MWStorageController();

  MWStorageController(const MWStorageController&) = delete;
  MWStorageController& operator=(const MWStorageController&) = delete;

  // The booted group's UUID and boot-objects path, as the kernel tells them, and the container that
  // holds the group, which is never null.
  const std::string& volumeGroupUUID() const { return _volumeGroupUUID; }
  void setVolumeGroupUUID(std::string uuid) { _volumeGroupUUID = std::move(uuid); }
  const std::string& bootObjectsPath() const { return _bootObjectsPath; }
  void setBootObjectsPath(std::string path) { _bootObjectsPath = std::move(path); }
  const std::shared_ptr<DVStaticLoamContainer>& loamContainer() const { return _loamContainer; }
  // Only while mounts are not being refused: a decision may read the field at any time.
  void setLoamContainer(std::shared_ptr<DVStaticLoamContainer> container) {
    _loamContainer = std::move(container);
  }

  // Volumes of the booted group; null when it has none with that role.
  std::shared_ptr<DVStaticLoamVolume> systemVolume();
  std::shared_ptr<DVStaticLoamVolume> dataVolume();

  // A path below /dev; absent when there is no data volume.
  std::optional<std::string> dataVolumeDevNode();

  // Where these volumes of the container are mounted. One that is not mounted is mounted, writable,
  // at a temporary path and stays so. Absent, after an error in the log, when there is no such
  // volume or it cannot be mounted. Waits without a limit for the device registry to settle.
  std::optional<std::string> prebootVolumeMountPoint();
  std::optional<std::string> recoveryVolumeMountPoint();
  std::optional<std::string> updateVolumeMountPoint();

  // What the installer left for the booted group on the preboot volume (which this may mount).
  // Absent, after a line in the log, when there is no such file, the normal case, or it cannot be
  // read.
  std::optional<PropertyListDictionary> templateMigrationCookie();

  // From the first of these calls to the second every mount of a volume of the container is
  // refused. Each does nothing when repeated. Both wait for the queue on which mounts are decided:
  // never call them there.
  void startDissentingMounts();
  void stopDissentingMounts();

  // Decides about one mount: a refusal, or absent to let it go on. Runs on the controller's queue.
  std::optional<DADissent> _checkDiskMount(DADisk& disk);

  // Unmounts, by force and everywhere, every volume of the container that is mounted. A volume that
  // stays mounted does not stop the others; false with the last one's error record.
  bool unmountContainer(ErrorSlot error);

  // Flushes a file or folder, and what its file system holds, through the disk's write cache. False
  // after an error in the log; an absent path is one that does not exist. A failing close ends the
  // process.
  bool syncChangesToDisk(const std::optional<std::string>& path);

  // The text of a kernel variable. Absent with a POSIX error record when it cannot be read; EILSEQ
  // when it is not UTF-8.
  static std::optional<std::string> _stringForSysctl(KernelVariables& variables, const char* name,
                                                     ErrorSlot error);

  // The container that holds a volume of this group; null when there is none.
  static std::shared_ptr<DVStaticLoamContainer> _loamContainerForVolumeGroup(
      DeviceRegistry& registry, DVStaticMedia& media, const std::string& uuid);

 private:
  MWStorageController(const Services& services, std::string volumeGroupUUID,
                      std::string bootObjectsPath,
                      std::shared_ptr<DVStaticLoamContainer> loamContainer);

  std::shared_ptr<DVStaticLoamVolume> _volumeInGroupWithRole(std::int32_t role);
  std::optional<std::string> _mountPointForVolume(const std::shared_ptr<DVStaticLoamVolume>& volume,
                                                  const std::string& roleName);
  std::optional<std::string> settledMountPoint(DVStaticLoamVolume& volume);
  std::optional<PropertyListDictionary> readTemplateMigrationCookie(ErrorSlot error);
  bool isVolumeOfContainer(DVStaticMediaObject& media) const;
  bool unmountVolume(DVStaticLoamVolume& volume, ErrorSlot error);
  int openForSync(const std::optional<std::string>& path);

  // Released in reverse order: what a decision reads goes only after the queue has drained.
  Services _services;
  std::shared_ptr<SerialTaskQueue> _daQueue;
  std::unique_ptr<DASession> _dissenter;  // null while no mounts are being refused
  std::string _volumeGroupUUID;
  std::string _bootObjectsPath;
  std::shared_ptr<DVStaticLoamContainer> _loamContainer;
};

}  // namespace marrow
