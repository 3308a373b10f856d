// What the kernel itself holds a file system by, with no process behind it: loop devices over its
// files, and swap space on it. Any thread.
#pragma once

#include "host/linux/block_devices.h"
#include "host/linux/held_thing.h"
#include "host/linux/mount_spaces.h"

#include <string>
#include <vector>

namespace marrow {

class KernelHolders {
 public:
  KernelHolders(std::string procfs, const BlockDevices& devices)
      : _procfs(std::move(procfs)), _devices(devices) {}

  // The loop devices over files of it, or over one of its nodes.
  std::vector<BlockDevice> loops(const HeldThing& thing) const;

  // The paths of swap space on it, of those that lead there in this namespace.
  std::vector<std::string> swaps(const HeldThing& thing, const MountSpace& space) const;

  // Each as "loop3" or "the swap space /x".
  std::vector<std::string> names(const HeldThing& thing, const MountSpace& space) const;

  // Turns off what swaps() tells of. What cannot be turned off (swapoff(2)) stays.
  void turnOffSwaps(const HeldThing& thing, const MountSpace& space) const;

  // Detaches the loop device, which nothing may use any more. False when it still has its file
  // after a second: somebody has it open.
  bool detach(const BlockDevice& loop) const;

 private:
  std::string _procfs;
  const BlockDevices& _devices;
};

}  // namespace marrow
