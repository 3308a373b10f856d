// Who keeps a mount from being unmounted: processes that have it as their directory or root, have a
// file of it open or mapped, or run from it; loop devices and swap files on it. Any thread.
#pragma once

#include "host/linux/block_devices.h"
#include "host/linux/mount_table.h"

#include <set>
#include <string>
#include <sys/types.h>
#include <vector>

namespace marrow {

struct HolderProcess {
  pid_t process = 0;
  std::string name;  // its command's, cut to 15 bytes by the kernel
};

// What to look for.
struct HeldThing {
  std::set<std::uint64_t> mounts;  // identifiers
  std::set<dev_t> fileSystems;     // st_dev of files; used for copies in other mount namespaces too
  std::set<dev_t> nodes;           // device nodes that are open
};

class MountHolders {
 public:
  MountHolders(std::string procfs, const BlockDevices& devices);

  // In the order of their numbers, this process and kernel threads left out.
  std::vector<HolderProcess> processes(const HeldThing& thing) const;

  // "sleep (4242)" for processes, "loop3" and "the swap file /x" for what the kernel itself holds;
  // separated by commas, "nobody that can be seen" when there is nothing.
  std::string description(const HeldThing& thing) const;

 private:
  bool holds(const std::string& process, const HeldThing& thing) const;
  std::vector<std::string> kernelHolders(const HeldThing& thing) const;

  std::string _procfs;
  const BlockDevices& _devices;
};

// The mount, and, where every mount of its device is meant, the file system in any namespace.
HeldThing heldThing(const MountEntry& mount, bool everywhere);

}  // namespace marrow
