// The mount namespaces of the machine (mount_namespaces(7)): our own, and every other one that a
// thread lives in, an open descriptor keeps or a bind mount keeps. A mount that only another
// namespace has keeps its device as busy as one of ours.
#pragma once

#include "host/linux/descriptor.h"
#include "host/linux/mount_table.h"

#include <cstdint>
#include <functional>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace marrow {

// One namespace, and the work that has to be done inside it: a path leads to a mount only in the
// namespace of that mount. An object for another namespace keeps it alive. Any thread.
class MountSpace {
 public:
  // Our own.
  explicit MountSpace(std::string procfs) : _procfs(std::move(procfs)) {}
  // Another one, by its file of nsfs; `keeper` is who was seen to keep it.
  MountSpace(std::string procfs, Descriptor file, std::string keeper);

  // Calls `work` with the namespace's mounts, in another namespace on a thread of its own that
  // lives there. 0, or the errno of entering; then `work` was not called.
  int perform(const std::function<void(const MountTable&)>& work) const;

  // Each empty when the namespace cannot be entered.
  std::vector<MountEntry> all() const;
  std::vector<MountEntry> on(const MountEntry& mount) const;
  bool has(const MountEntry& mount) const;
  bool isVisible(const MountEntry& mount) const;

  bool isOwn() const { return !_file; }
  std::uint64_t number() const;  // nsfs numbers namespaces by inode; 0 for our own

  // "" for our own, otherwise " in the mount namespace of sleep (4242)".
  std::string where() const;

 private:
  int enter() const;

  std::string _procfs;
  Descriptor _file;
  std::string _keeper;
};

class MountSpaces {
 public:
  explicit MountSpaces(std::string procfs) : _procfs(std::move(procfs)) {}

  // Each namespace once, our own last: a mount that was copied to others goes from there first.
  std::vector<MountSpace> all() const;

  MountSpace own() const { return MountSpace(_procfs); }

 private:
  std::string _procfs;
};

// The mounts of the file system on this device in each of the namespaces, oldest first. btrfs may
// name a source there that is no node here: what one namespace tells counts for all.
std::vector<std::vector<MountEntry>> mountsOfDevice(const std::vector<MountSpace>& spaces,
                                                    dev_t number);

}  // namespace marrow
