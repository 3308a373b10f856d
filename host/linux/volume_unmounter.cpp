#include "host/linux/volume_unmounter.h"

#include "host/linux/disk_error.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>
#include <utility>

namespace marrow {

namespace {

// Somebody may mount again meanwhile; this often it is tried anew.
constexpr int kPasses = 4;

int plainUnmount(const MountEntry& mount) {
  return ::umount2(mount.target.c_str(), UMOUNT_NOFOLLOW) == 0 ? 0 : errno;
}

// Other mounts may keep the file system alive, so that the unmount writes nothing out.
ErrorRef syncFileSystem(const MountEntry& mount) {
  const Descriptor root(
      ::open(mount.target.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW));
  return root && ::syncfs(root.number()) == 0
             ? nullptr
             : diskError(errno, "Cannot write out what was changed in " + mount.target);
}

// What the unmount wrote may still be in the drive's cache.
ErrorRef flushDevice(const std::string& node) {
  const Descriptor device(::open(node.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  return device && ::fsync(device.number()) == 0 ? nullptr
                                                 : diskError(errno, "Cannot flush " + node);
}

}  // namespace

ErrorRef VolumeUnmounter::unmount(const BlockDevice& device, const UnmountOptions& options) const {
  if (auto failure = unmountEach(device, options)) {
    return failure;
  }
  if (const int errorNumber = _services.claims.takeBack(device); errorNumber != 0) {
    return stillUsedError(device, errorNumber, " was unmounted, but cannot be claimed again");
  }
  if (auto failure = checkFree(device, options)) {
    return failure;
  }
  return _services.devices.current(device) ? flushDevice(_services.devices.node(device)) : nullptr;
}

bool VolumeUnmounter::isMounted(const BlockDevice& device) const {
  return !_services.mountTable.ofDevice(device.number).empty() || _services.claims.isInUse(device);
}

ErrorRef VolumeUnmounter::unmountEach(const BlockDevice& device,
                                      const UnmountOptions& options) const {
  bool foundAny = false;
  for (int pass = 0; pass < kPasses; ++pass) {
    const auto found = mounts(device, options);
    if (found.empty()) {
      break;
    }
    foundAny = true;
    for (const auto& mount : found) {
      if (auto failure = unmountOne(mount, options)) {
        return failure;
      }
    }
  }
  const bool notOurs = !foundAny && !options.everyMount && isMounted(device);
  return notOurs ? stillUsedError(device, EBUSY, " is in use, not by a mount of ours") : nullptr;
}

ErrorRef VolumeUnmounter::unmountOne(const MountEntry& mount, const UnmountOptions& options) const {
  if (auto failure = uncover(mount, options)) {
    return failure;
  }
  // Everything stands on the root: no process would be left.
  if (mount.target == "/") {
    return busyError(mount, EBUSY);
  }
  auto notWritten = syncFileSystem(mount);
  int errorNumber = plainUnmount(mount);
  if (errorNumber == EBUSY && options.force) {
    if (auto failure = unmountWhatStandsOn(mount)) {
      return failure;
    }
    endHolders(mount, options);
    errorNumber = plainUnmount(mount);
  }
  if (errorNumber != 0) {
    return busyError(mount, errorNumber);
  }
  _services.temporaryMounts.removeDirectory(mount.target);
  return notWritten;
}

// The path must lead to the very mount that is meant.
ErrorRef VolumeUnmounter::uncover(const MountEntry& mount, const UnmountOptions& options) const {
  if (options.force && !MountTable::isVisible(mount)) {
    if (auto failure = unmountWhatStandsOn(mount)) {
      return failure;
    }
  }
  return MountTable::isVisible(mount) ? nullptr : hiddenError(mount);
}

ErrorRef VolumeUnmounter::unmountWhatStandsOn(const MountEntry& mount) const {
  auto above = _services.mountTable.on(mount);
  std::reverse(above.begin(), above.end());
  for (const auto& each : above) {
    if (auto failure = unmountOne(each, {false, true})) {
      return failure;
    }
  }
  return nullptr;
}

void VolumeUnmounter::endHolders(const MountEntry& mount, const UnmountOptions& options) const {
  const auto held = heldThing(mount, options.everyMount);
  _services.processEnd.end([this, &held] { return _services.holders.processes(held); });
}

ErrorRef VolumeUnmounter::checkFree(const BlockDevice& device,
                                    const UnmountOptions& options) const {
  return options.everyMount && isMounted(device)
             ? stillUsedError(device, EBUSY, " is still in use after its unmount")
             : nullptr;
}

ErrorRef VolumeUnmounter::hiddenError(const MountEntry& mount) const {
  return diskError(EBUSY, "Cannot unmount " + mount.source + " from " + mount.target +
                              ", which other mounts cover");
}

ErrorRef VolumeUnmounter::busyError(const MountEntry& mount, int errorNumber) const {
  std::string holders = _services.holders.description(heldThing(mount, true));
  for (const auto& above : _services.mountTable.on(mount)) {
    holders += ", the mount " + above.target;
  }
  return diskError(errorNumber, "Cannot unmount " + mount.source + " from " + mount.target +
                                    ", held by " + holders);
}

ErrorRef VolumeUnmounter::stillUsedError(const BlockDevice& device, int errorNumber,
                                         const std::string& what) const {
  HeldThing held;
  held.nodes.insert(device.number);
  held.fileSystems.insert(device.number);
  std::string holders = _services.holders.description(held);
  for (const auto& above : _services.stack.above(device)) {
    holders += ", " + above;
  }
  for (const auto& mount : _services.mountTable.ofDevice(device.number)) {
    holders += ", the mount " + mount.target;
  }
  return diskError(errorNumber, _services.devices.node(device) + what + ", held by " + holders);
}

// Newest first: a later mount may stand on an earlier one.
std::vector<MountEntry> VolumeUnmounter::mounts(const BlockDevice& device,
                                                const UnmountOptions& options) const {
  auto mounts = _services.mountTable.ofDevice(device.number);
  if (!options.everyMount) {
    std::erase_if(mounts, [this, &device](const MountEntry& mount) {
      return !_services.temporaryMounts.isOwn(mount, device);
    });
  }
  std::reverse(mounts.begin(), mounts.end());
  return mounts;
}

}  // namespace marrow
