// Takes one mount away, in whichever namespace it is, by force where that is asked for, and never
// lazily: a detached file system would go on writing to its device.
#pragma once

#include "host/error_record.h"
#include "host/linux/kernel_holders.h"
#include "host/linux/mount_holders.h"
#include "host/linux/mount_spaces.h"
#include "host/linux/process_end.h"
#include "host/linux/temporary_mounts.h"

#include <functional>

namespace marrow {

struct UnmountOptions {
  bool everyMount = false;  // not only our own
  bool force = false;       // with the mounts that stand on it and whatever holds it
  bool keepOpen = false;    // what is encrypted, for the next mount
};

class MountRemover {
 public:
  struct Services {
    const TemporaryMounts& temporaryMounts;
    const MountHolders& holders;
    const KernelHolders& kernelHolders;
    const ProcessEnd& processEnd;
    // Takes away what is mounted from this loop device, and the device itself, as far as it goes.
    std::function<void(const BlockDevice&)> removeLoop;
  };

  explicit MountRemover(Services services) : _services(std::move(services)) {}

  // Null when the mount is gone, whoever undid it, and its changes have reached the device; also
  // when it will be gone with the namespace of processes that were ended.
  ErrorRef remove(const MountSpace& space, const MountEntry& mount,
                  const UnmountOptions& options) const;

 private:
  // Sets `isOurs` when it is this unmount by which the mount is gone.
  ErrorRef tryRemove(const MountSpace& space, const MountEntry& mount,
                     const UnmountOptions& options, bool& isOurs) const;
  ErrorRef removeLocked(const MountSpace& space, const MountEntry& mount,
                        const UnmountOptions& options, int errorNumber) const;
  ErrorRef uncover(const MountSpace& space, const MountEntry& mount,
                   const UnmountOptions& options) const;
  ErrorRef removeWhatStandsOn(const MountSpace& space, const MountEntry& mount) const;
  void endHolders(const MountSpace& space, const MountEntry& mount,
                  const UnmountOptions& options) const;
  ErrorRef busyError(const MountSpace& space, const MountEntry& mount, int errorNumber) const;

  Services _services;
};

// "the mount /x in the mount namespace of sleep (4242)".
std::string mountDescription(const MountSpace& space, const MountEntry& mount);

}  // namespace marrow
