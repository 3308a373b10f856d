#include "host/linux/volume_unmounter.h"

#include "host/linux/disk_error.h"
#include "host/linux/settling.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace marrow {

namespace {

// Somebody may mount again meanwhile; this often it is tried anew.
constexpr int kPasses = 4;

// A mount that is just being made keeps the device in use before it can be seen.
constexpr int kRounds = 2;

constexpr UnmountOptions kEverythingByForce{true, true, false};

// What the unmount wrote may still be in the drive's cache.
ErrorRef flushDevice(const std::string& node) {
  const Descriptor device(::open(node.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  return device && ::fsync(device.number()) == 0 ? nullptr
                                                 : diskError(errno, "Cannot flush " + node);
}

HeldThing heldNode(const BlockDevice& device) {
  HeldThing held;
  held.nodes.insert(device.number);
  return held;
}

}  // namespace

VolumeUnmounter::VolumeUnmounter(const Services& services)
    : _services(services),
      _remover({services.temporaryMounts, services.holders, services.kernelHolders,
                services.processEnd, [this](const BlockDevice& loop) { removeLoop(loop); }}) {}

ErrorRef VolumeUnmounter::unmount(const BlockDevice& device, const UnmountOptions& options) const {
  const auto mapping = _services.encryptedVolumes.mapping(device);
  return mapping ? unmountMapping(device, *mapping, options) : unmountNode(device, options);
}

// Who has opened it otherwise has to close it: where every mount is meant, that is an error.
ErrorRef VolumeUnmounter::unmountMapping(const BlockDevice& volume, const BlockDevice& mapping,
                                         const UnmountOptions& options) const {
  if (auto failure = unmountNode(mapping, options)) {
    return failure;
  }
  if (!_services.encryptedVolumes.isOurs(volume, mapping)) {
    return options.everyMount ? unmountNode(volume, options) : nullptr;
  }
  if (options.keepOpen || isMounted(mapping)) {
    return nullptr;
  }
  auto failure = _services.encryptedVolumes.close(volume, mapping);
  return failure ? failure : unmountNode(volume, options);
}

ErrorRef VolumeUnmounter::unmountNode(const BlockDevice& device,
                                      const UnmountOptions& options) const {
  bool isDone = false;
  for (int round = 0; round < kRounds && !isDone; ++round) {
    if (auto failure = unmountEach(device, options)) {
      return failure;
    }
    isDone = !options.everyMount || becomesFree(device, options);
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
  if (!_services.mountTable.ofDevice(device.number).empty() || _services.claims.isInUse(device)) {
    return true;
  }
  const auto loops = _services.stack.loopsOver(device);
  return std::any_of(loops.begin(), loops.end(),
                     [this](const BlockDevice& loop) { return isMounted(loop); });
}

ErrorRef VolumeUnmounter::unmountEach(const BlockDevice& device,
                                      const UnmountOptions& options) const {
  bool foundAny = false;
  bool foundMore = true;
  for (int pass = 0; pass < kPasses && foundMore; ++pass) {
    foundMore = false;
    if (auto failure = unmountPass(device, options, foundMore)) {
      return failure;
    }
    foundAny = foundAny || foundMore;
  }
  if (options.everyMount) {
    return unmountLoops(device, options);
  }
  const bool notOurs = !foundAny && isMounted(device);
  return notOurs ? stillUsedError(device, EBUSY, " is in use, not by a mount of ours") : nullptr;
}

// Newest first: a later mount may stand on an earlier one.
ErrorRef VolumeUnmounter::unmountPass(const BlockDevice& device, const UnmountOptions& options,
                                      bool& foundAny) const {
  const auto spaces = _services.mountSpaces.all();
  const auto tables = mountsOfDevice(spaces, device.number);
  for (std::size_t at = 0; at < spaces.size(); ++at) {
    for (auto mount = tables[at].rbegin(); mount != tables[at].rend(); ++mount) {
      if (!options.everyMount && !_services.temporaryMounts.isOwn(*mount, device)) {
        continue;
      }
      foundAny = true;
      if (auto failure = _remover.remove(spaces[at], *mount, options)) {
        return failure;
      }
    }
  }
  return nullptr;
}

// The same file system, by another name.
ErrorRef VolumeUnmounter::unmountLoops(const BlockDevice& device,
                                       const UnmountOptions& options) const {
  for (const auto& loop : _services.stack.loopsOver(device)) {
    if (auto failure = unmount(loop, options)) {
      return failure;
    }
  }
  return nullptr;
}

// A device is in use for a moment longer than its mounts.
bool VolumeUnmounter::becomesFree(const BlockDevice& device, const UnmountOptions& options) const {
  if (options.force) {
    releaseNode(device);
  }
  return settles([this, &device] { return !isMounted(device); });
}

// What is no mount: swap space right on the device, and who still has a file of a file system open
// that was detached lazily.
void VolumeUnmounter::releaseNode(const BlockDevice& device) const {
  if (!isMounted(device)) {
    return;
  }
  _services.kernelHolders.turnOffSwaps(heldNode(device), _services.mountSpaces.own());
  HeldThing files;
  files.fileSystems.insert(device.number);
  _services.processEnd.end([this, &files] { return _services.holders.processes(files); });
}

void VolumeUnmounter::removeLoop(const BlockDevice& loop) const {
  HeldThing nodes = heldNode(loop);
  auto parts = _services.devices.partitionsOf(loop.name);
  parts.push_back(loop);
  for (const auto& part : parts) {
    nodes.nodes.insert(part.number);
    if (const auto failure = unmount(part, kEverythingByForce)) {
      _services.log.log(LogLevel::error, failure->description());
    }
  }
  _services.processEnd.end([this, &nodes] { return _services.holders.processes(nodes); });
  if (!_services.kernelHolders.detach(loop)) {
    _services.log.log(LogLevel::error, "Cannot detach " + loop.name + ", held by " +
                                           joinedHolders(_services.holders.names(nodes)));
  }
}

ErrorRef VolumeUnmounter::checkFree(const BlockDevice& device,
                                    const UnmountOptions& options) const {
  return options.everyMount && isMounted(device)
             ? stillUsedError(device, EBUSY, " is still in use after its unmount")
             : nullptr;
}

ErrorRef VolumeUnmounter::stillUsedError(const BlockDevice& device, int errorNumber,
                                         const std::string& what) const {
  return diskError(errorNumber, _services.devices.node(device) + what + ", held by " +
                                    joinedHolders(users(device)));
}

std::vector<std::string> VolumeUnmounter::users(const BlockDevice& device) const {
  HeldThing held = heldNode(device);
  held.fileSystems.insert(device.number);
  auto names = _services.holders.names(held);
  for (auto& name : _services.kernelHolders.names(held, _services.mountSpaces.own())) {
    names.push_back(std::move(name));
  }
  for (const auto& loop : _services.stack.loopsOver(device)) {
    if (isMounted(loop)) {
      names.push_back("the mounted " + loop.name);
    }
  }
  for (auto& above : _services.stack.above(device)) {
    names.push_back(std::move(above));
  }
  const auto spaces = _services.mountSpaces.all();
  const auto tables = mountsOfDevice(spaces, device.number);
  for (std::size_t at = 0; at < spaces.size(); ++at) {
    for (const auto& mount : tables[at]) {
      names.push_back(mountDescription(spaces[at], mount));
    }
  }
  return names;
}

}  // namespace marrow
