// Takes a volume's mounts away, in every mount namespace, by force where that is asked for, and
// never lazily. The calls for one device must take turns.
#pragma once

#include "host/error_record.h"
#include "host/linux/block_devices.h"
#include "host/linux/claims.h"
#include "host/linux/device_stack.h"
#include "host/linux/encrypted_volumes.h"
#include "host/linux/kernel_holders.h"
#include "host/linux/mount_holders.h"
#include "host/linux/mount_remover.h"
#include "host/linux/mount_spaces.h"
#include "host/linux/mount_table.h"
#include "host/linux/process_end.h"
#include "host/linux/temporary_mounts.h"
#include "host/log.h"

#include <string>
#include <vector>

namespace marrow {

class VolumeUnmounter {
 public:
  struct Services {
    const BlockDevices& devices;
    const DeviceStack& stack;
    const MountTable& mountTable;
    const MountSpaces& mountSpaces;
    const TemporaryMounts& temporaryMounts;
    const EncryptedVolumes& encryptedVolumes;
    const MountHolders& holders;
    const KernelHolders& kernelHolders;
    const ProcessEnd& processEnd;
    Claims& claims;
    LogHandle& log;
  };

  explicit VolumeUnmounter(const Services& services);
  VolumeUnmounter(const VolumeUnmounter&) = delete;
  VolumeUnmounter& operator=(const VolumeUnmounter&) = delete;

  // Null when the mounts that were meant are gone, everything has reached the device, and its claim
  // is back where it had been lent. What we opened of an encrypted volume is closed again, unless
  // it is to be kept open or others use it still.
  ErrorRef unmount(const BlockDevice& device, const UnmountOptions& options) const;

  // True while the device, or a loop device that shows its bytes, is mounted here, or something
  // else uses it exclusively: a mount in another namespace, a device on top of it, a program.
  bool isMounted(const BlockDevice& device) const;

 private:
  ErrorRef unmountNode(const BlockDevice& device, const UnmountOptions& options) const;
  ErrorRef unmountMapping(const BlockDevice& volume, const BlockDevice& mapping,
                          const UnmountOptions& options) const;
  ErrorRef unmountEach(const BlockDevice& device, const UnmountOptions& options) const;
  ErrorRef unmountPass(const BlockDevice& device, const UnmountOptions& options,
                       bool& foundAny) const;
  ErrorRef unmountLoops(const BlockDevice& device, const UnmountOptions& options) const;
  bool becomesFree(const BlockDevice& device, const UnmountOptions& options) const;
  void releaseNode(const BlockDevice& device) const;
  void removeLoop(const BlockDevice& loop) const;
  ErrorRef checkFree(const BlockDevice& device, const UnmountOptions& options) const;
  ErrorRef stillUsedError(const BlockDevice& device, int errorNumber,
                          const std::string& what) const;
  std::vector<std::string> users(const BlockDevice& device) const;

  Services _services;
  MountRemover _remover;
};

}  // namespace marrow
