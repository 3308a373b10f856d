#include "host/linux/mount_remover.h"

#include "host/linux/disk_error.h"
#include "host/linux/retry.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>
#include <utility>

namespace marrow {

namespace {

int plainUnmount(const MountSpace& space, const MountEntry& mount) {
  int errorNumber = 0;
  const int notEntered = space.perform([&](const MountTable&) {
    errorNumber = ::umount2(mount.target.c_str(), UMOUNT_NOFOLLOW) == 0 ? 0 : errno;
  });
  return notEntered != 0 ? notEntered : errorNumber;
}

int syncPath(const std::string& path) {
  const Descriptor root(retryInterrupted([&] {
    return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW);
  }));
  return root && ::syncfs(root.number()) == 0 ? 0 : errno;
}

// Other mounts may keep the file system alive, so that the unmount writes nothing out.
ErrorRef syncFileSystem(const MountSpace& space, const MountEntry& mount) {
  int errorNumber = 0;
  space.perform([&](const MountTable&) { errorNumber = syncPath(mount.target); });
  return errorNumber == 0
             ? nullptr
             : diskError(errorNumber, "Cannot write out what was changed in " + mount.target);
}

HeldThing heldIn(const MountSpace& space, const MountEntry& mount, bool everywhere) {
  HeldThing held;
  space.perform([&](const MountTable&) { held = heldThing(mount, everywhere); });
  return held;
}

// A less privileged namespace may not take apart what it was given by a more privileged one
// (mount_namespaces(7)), and none can lose its root: there the mount goes with the namespace. A
// mount that has gone meanwhile gives the same errno value.
bool isLocked(const MountSpace& space, const MountEntry& mount, int errorNumber) {
  return !space.isOwn() && (mount.target == "/" || errorNumber == EINVAL) && space.has(mount);
}

ErrorRef hiddenError(const MountSpace& space, const MountEntry& mount) {
  return diskError(EBUSY, "Cannot unmount " + mount.source + " from " + mount.target +
                              space.where() + ", which other mounts cover");
}

}  // namespace

ErrorRef MountRemover::remove(const MountSpace& space, const MountEntry& mount,
                              const UnmountOptions& options) const {
  bool isOurs = false;
  auto failure = tryRemove(space, mount, options, isOurs);
  // An unmount reaches the copies of a mount in other places and namespaces too.
  return isOurs || space.has(mount) ? failure : nullptr;
}

ErrorRef MountRemover::tryRemove(const MountSpace& space, const MountEntry& mount,
                                 const UnmountOptions& options, bool& isOurs) const {
  if (auto failure = uncover(space, mount, options)) {
    return failure;
  }
  // Unmounting the root would only make it read-only (umount(2)).
  if (mount.target == "/") {
    return removeLocked(space, mount, options, EBUSY);
  }
  auto notWritten = syncFileSystem(space, mount);
  int errorNumber = plainUnmount(space, mount);
  if (errorNumber == EBUSY && options.force) {
    if (auto failure = removeWhatStandsOn(space, mount)) {
      return failure;
    }
    endHolders(space, mount, options);
    errorNumber = plainUnmount(space, mount);
  }
  if (errorNumber != 0) {
    return removeLocked(space, mount, options, errorNumber);
  }
  isOurs = true;
  if (space.isOwn()) {
    _services.temporaryMounts.removeDirectory(mount.target);
  }
  return notWritten;
}

ErrorRef MountRemover::removeLocked(const MountSpace& space, const MountEntry& mount,
                                    const UnmountOptions& options, int errorNumber) const {
  if (!options.force || !isLocked(space, mount, errorNumber)) {
    return busyError(space, mount, errorNumber);
  }
  HeldThing held;
  held.namespaces.insert(space.number());
  _services.processEnd.end([this, &held] { return _services.holders.processes(held); });
  return _services.holders.processes(held).empty() ? nullptr : busyError(space, mount, errorNumber);
}

// The path must lead to the very mount that is meant.
ErrorRef MountRemover::uncover(const MountSpace& space, const MountEntry& mount,
                               const UnmountOptions& options) const {
  if (options.force && !space.isVisible(mount)) {
    if (auto failure = removeWhatStandsOn(space, mount)) {
      return failure;
    }
  }
  return space.isVisible(mount) ? nullptr : hiddenError(space, mount);
}

ErrorRef MountRemover::removeWhatStandsOn(const MountSpace& space, const MountEntry& mount) const {
  auto above = space.on(mount);
  std::reverse(above.begin(), above.end());
  for (const auto& each : above) {
    if (auto failure = remove(space, each, {false, true, false})) {
      return failure;
    }
  }
  return nullptr;
}

void MountRemover::endHolders(const MountSpace& space, const MountEntry& mount,
                              const UnmountOptions& options) const {
  const auto held = heldIn(space, mount, options.everyMount);
  _services.processEnd.end([this, &held] { return _services.holders.processes(held); });
  _services.kernelHolders.turnOffSwaps(held, space);
  for (const auto& loop : _services.kernelHolders.loops(held)) {
    _services.removeLoop(loop);
  }
}

ErrorRef MountRemover::busyError(const MountSpace& space, const MountEntry& mount,
                                 int errorNumber) const {
  const auto held = heldIn(space, mount, true);
  auto names = _services.holders.names(held);
  for (auto& name : _services.kernelHolders.names(held, space)) {
    names.push_back(std::move(name));
  }
  for (const auto& above : space.on(mount)) {
    names.push_back(mountDescription(space, above));
  }
  return diskError(errorNumber, "Cannot unmount " + mount.source + " from " + mount.target +
                                    space.where() + ", held by " + joinedHolders(names));
}

std::string mountDescription(const MountSpace& space, const MountEntry& mount) {
  return "the mount " + mount.target + space.where();
}

}  // namespace marrow
