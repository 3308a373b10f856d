// Takes a volume's mounts away, by force where that is asked for, and never lazily: a detached file
// system would go on writing to its device. The calls for one device must take turns.
#pragma once

#include "host/error_record.h"
#include "host/linux/block_devices.h"
#include "host/linux/claims.h"
#include "host/linux/device_stack.h"
#include "host/linux/mount_holders.h"
#include "host/linux/mount_table.h"
#include "host/linux/process_end.h"
#include "host/linux/temporary_mounts.h"

#include <vector>

namespace marrow {

struct UnmountOptions {
  bool everyMount = false;  // not only our own
  bool force = false;       // with the mounts that stand on it and the processes that hold it
};

class VolumeUnmounter {
 public:
  struct Services {
    const BlockDevices& devices;
    const DeviceStack& stack;
    const MountTable& mountTable;
    const TemporaryMounts& temporaryMounts;
    const MountHolders& holders;
    const ProcessEnd& processEnd;
    Claims& claims;
  };

  explicit VolumeUnmounter(const Services& services) : _services(services) {}

  // Null when the mounts that were meant are gone, everything has reached the device, and its claim
  // is back where it had been lent.
  ErrorRef unmount(const BlockDevice& device, const UnmountOptions& options) const;

  // True while the device is mounted here, or something else uses it exclusively.
  bool isMounted(const BlockDevice& device) const;

 private:
  ErrorRef unmountEach(const BlockDevice& device, const UnmountOptions& options) const;
  ErrorRef unmountOne(const MountEntry& mount, const UnmountOptions& options) const;
  ErrorRef uncover(const MountEntry& mount, const UnmountOptions& options) const;
  ErrorRef unmountWhatStandsOn(const MountEntry& mount) const;
  void endHolders(const MountEntry& mount, const UnmountOptions& options) const;
  ErrorRef checkFree(const BlockDevice& device, const UnmountOptions& options) const;
  ErrorRef hiddenError(const MountEntry& mount) const;
  ErrorRef busyError(const MountEntry& mount, int errorNumber) const;
  ErrorRef stillUsedError(const BlockDevice& device, int errorNumber,
                          const std::string& what) const;
  std::vector<MountEntry> mounts(const BlockDevice& device, const UnmountOptions& options) const;

  Services _services;
};

}  // namespace marrow
