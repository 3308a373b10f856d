#include "host/linux/held_thing.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace marrow {

HeldThing heldThing(const MountEntry& mount, bool everywhere) {
  HeldThing thing;
  thing.mounts.insert(mount.identifier);
  if (!everywhere) {
    return thing;
  }
  thing.fileSystems.insert(mount.fileSystem);
  // btrfs numbers the files of each of its trees differently from its mounts. One call tells both
  // the mount and the number: once the mount has gone, its path would lead to another file system,
  // and to everybody who uses that.
  struct statx status {};
  if (::statx(AT_FDCWD, mount.target.c_str(), AT_NO_AUTOMOUNT | AT_SYMLINK_NOFOLLOW,
              STATX_TYPE | STATX_MNT_ID, &status) == 0 &&
      status.stx_mnt_id == mount.identifier) {
    thing.fileSystems.insert(makedev(status.stx_dev_major, status.stx_dev_minor));
  }
  return thing;
}

// The links of proc(5) lead to the very file and mount that a process holds. The answer must not
// wait for a server that has gone.
bool isPartOf(const HeldThing& thing, const std::string& path) {
  struct statx status {};
  if (::statx(AT_FDCWD, path.c_str(), AT_NO_AUTOMOUNT | AT_STATX_DONT_SYNC,
              STATX_TYPE | STATX_MNT_ID, &status) != 0) {
    return false;
  }
  const dev_t node = makedev(status.stx_rdev_major, status.stx_rdev_minor);
  return thing.mounts.contains(status.stx_mnt_id) ||
         thing.fileSystems.contains(makedev(status.stx_dev_major, status.stx_dev_minor)) ||
         (S_ISBLK(status.stx_mode) && thing.nodes.contains(node));
}

}  // namespace marrow
