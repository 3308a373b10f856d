// Mounts of our own, each at a directory /run/marrow/mnt/KERNELNAME-XXXXXX, without set-user-ID
// programs and device nodes. The directory goes with the mount. The calls for one device must take
// turns.
#pragma once

#include "host/error_record.h"
#include "host/linux/block_devices.h"
#include "host/linux/claims.h"
#include "host/linux/encrypted_volumes.h"
#include "host/linux/mount_table.h"

#include <optional>
#include <string>

namespace marrow {

class TemporaryMounts {
 public:
  struct Services {
    const BlockDevices& devices;
    const MountTable& mountTable;
    const EncryptedVolumes& encryptedVolumes;
    Claims& claims;
  };

  TemporaryMounts(const Services& services, std::string run);

  // A file system that is mounted already is bound from there, otherwise the device is mounted with
  // the type that it is found to have. One that is encrypted is opened for it, and stays open.
  // Absent with an error record, and nothing left behind.
  std::optional<std::string> mount(const BlockDevice& device, bool readOnly, ErrorSlot error) const;

  // True for a mount of this device, or of the volume that is open through it, that mount() made,
  // by whichever process.
  bool isOwn(const MountEntry& mount, const BlockDevice& device) const;

  // True when all of the device's file system can be reached there. btrfs may be told to show
  // another of its trees for the whole; what mount() mounted is the whole.
  bool isWhole(const MountEntry& mount, const BlockDevice& device) const;

  // Removes a directory that mount() made, after its unmount; leaves any other alone.
  void removeDirectory(const std::string& target) const;

 private:
  std::optional<std::string> makeDirectory(const BlockDevice& device, ErrorSlot error) const;
  ErrorRef mountVolume(const BlockDevice& volume, const std::string& target, bool readOnly) const;
  ErrorRef mountContent(const BlockDevice& content, const std::string& target, bool readOnly) const;
  std::optional<MountEntry> mountToBind(const BlockDevice& device) const;
  ErrorRef bind(const MountEntry& source, const std::string& target, bool readOnly) const;
  ErrorRef mountNode(const BlockDevice& device, const std::string& target, bool readOnly) const;
  std::string place() const;

  Services _services;
  std::string _run;
};

}  // namespace marrow
