// A mount, a file system or a block device, as what holds it shows it. Any thread; each path counts
// in the mount namespace of the calling thread.
#pragma once

#include "host/linux/mount_table.h"

#include <cstdint>
#include <set>
#include <string>
#include <sys/types.h>

namespace marrow {

// What to look for.
struct HeldThing {
  std::set<std::uint64_t> mounts;  // identifiers, which are the same in every namespace
  std::set<dev_t> fileSystems;     // st_dev of files; used for the mounts in other namespaces too
  std::set<dev_t> nodes;           // device nodes that are open
  std::set<std::uint64_t> namespaces;  // mount namespaces that a process lives in
};

// The mount, and, where every mount of its device is meant, the file system in any namespace.
HeldThing heldThing(const MountEntry& mount, bool everywhere);

// True when the path, with the links of proc(5) followed, leads to a part of the thing.
bool isPartOf(const HeldThing& thing, const std::string& path);

}  // namespace marrow
