// The mounts of a mount namespace (proc(5), mountinfo), read anew at each call. Any thread.
#pragma once

#include "host/linux/descriptor.h"

#include <cstdint>
#include <string>
#include <sys/types.h>
#include <vector>

namespace marrow {

struct MountEntry {
  std::uint64_t identifier = 0;
  std::uint64_t parent = 0;  // the identifier of the mount that it stands on
  dev_t fileSystem = 0;      // of the file system, which for btrfs is no device's number
  std::string source;
  std::string root;  // what of the file system is mounted; "/" is all of it
  std::string target;
  bool readOnly = false;            // this mount
  bool fileSystemReadOnly = false;  // every mount of the file system

  // True for a mount of the file system on this block device, as far as this entry tells.
  bool isOnDevice(dev_t number) const;
};

class MountTable {
 public:
  // Of the process's own namespace.
  explicit MountTable(const std::string& procfs);

  // Of the namespace that the task lives in whose directory below /proc is open here; it need not
  // be reachable by any path.
  explicit MountTable(Descriptor task);

  // Oldest first. Empty when the table cannot be read.
  std::vector<MountEntry> all() const;

  // The mounts of the file system on this block device, bind mounts and parts of it included.
  std::vector<MountEntry> ofDevice(dev_t number) const;

  // The mounts that stand directly on this one.
  std::vector<MountEntry> on(const MountEntry& mount) const;

  // True when its target leads to this mount and not to one that covers it. Needs Linux 5.8 (statx
  // tells the mount's identifier).
  static bool isVisible(const MountEntry& mount);

 private:
  Descriptor _directory;  // where the path begins; none for an absolute one
  std::string _path;
};

}  // namespace marrow
