// The partition library: a container is a disk with a GPT, a volume is one of its partitions. Every
// answer is taken from the machine when it is asked for. Any thread, but the mount and unmount
// calls of one volume must take turns.
#pragma once

#include "host/linux/linux_device_registry.h"
#include "host/linux/loam_containers.h"
#include "host/linux/mount_table.h"
#include "host/linux/temporary_mounts.h"
#include "host/linux/volume_unmounter.h"
#include "host/partition_library.h"

#include <memory>
#include <string>

namespace marrow {

class LinuxStaticMedia : public DVStaticMedia {
 public:
  struct Services {
    const BlockDevices& devices;
    const LoamContainers& containers;
    LinuxDeviceRegistry& registry;
    const MountTable& mountTable;
    const TemporaryMounts& temporaryMounts;
    const EncryptedVolumes& encryptedVolumes;
    const VolumeUnmounter& unmounter;
  };

  explicit LinuxStaticMedia(const Services& services) : _services(services) {}

  std::shared_ptr<DVStaticMediaObject> mediaForBSDName(const std::string& name) override;
  std::shared_ptr<DVStaticMediaObject> mediaForRegistryEntry(RegistryHandle entry) override;

 private:
  std::shared_ptr<DVStaticMediaObject> mediaOn(const BlockDevice& device) const;

  Services _services;
};

}  // namespace marrow
