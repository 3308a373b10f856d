#include "host/linux/mount_table.h"

#include "host/linux/c_text.h"

#include <fcntl.h>
#include <libmount/libmount.h>
#include <memory>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <utility>

namespace marrow {

namespace {

struct Unreference {
  void operator()(libmnt_table* table) const { mnt_unref_table(table); }
  void operator()(libmnt_iter* iterator) const { mnt_free_iter(iterator); }
};
using Table = std::unique_ptr<libmnt_table, Unreference>;
using Iterator = std::unique_ptr<libmnt_iter, Unreference>;

bool hasReadOnly(const char* options) {
  return options != nullptr && mnt_optstr_get_option(options, "ro", nullptr, nullptr) == 0;
}

MountEntry entry(libmnt_fs* mount) {
  MountEntry result;
  result.identifier = static_cast<std::uint64_t>(mnt_fs_get_id(mount));
  result.parent = static_cast<std::uint64_t>(mnt_fs_get_parent_id(mount));
  result.fileSystem = mnt_fs_get_devno(mount);
  // What a pseudo file system calls its source is anybody's choice.
  result.source =
      mnt_fs_is_pseudofs(mount) != 0 ? std::string() : textOrEmpty(mnt_fs_get_srcpath(mount));
  result.root = textOrEmpty(mnt_fs_get_root(mount));
  result.target = textOrEmpty(mnt_fs_get_target(mount));
  result.readOnly = hasReadOnly(mnt_fs_get_vfs_options(mount));
  result.fileSystemReadOnly = hasReadOnly(mnt_fs_get_fs_options(mount));
  return result;
}

// btrfs numbers its mounts with devices that do not exist: there the source tells.
bool isOnDevice(const MountEntry& mount, dev_t number) {
  if (mount.fileSystem == number) {
    return true;
  }
  struct stat source {};
  return major(mount.fileSystem) == 0 && mount.source.starts_with('/') &&
         ::stat(mount.source.c_str(), &source) == 0 && S_ISBLK(source.st_mode) &&
         source.st_rdev == number;
}

}  // namespace

MountTable::MountTable(const std::string& procfs) : _path(procfs + "/self/mountinfo") {}

std::vector<MountEntry> MountTable::all() const {
  std::vector<MountEntry> mounts;
  const Table table(mnt_new_table_from_file(_path.c_str()));
  const Iterator iterator(mnt_new_iter(MNT_ITER_FORWARD));
  libmnt_fs* mount = nullptr;
  while (table && iterator && mnt_table_next_fs(table.get(), iterator.get(), &mount) == 0) {
    mounts.push_back(entry(mount));
  }
  return mounts;
}

std::vector<MountEntry> MountTable::ofDevice(dev_t number) const {
  auto mounts = all();
  std::erase_if(mounts, [number](const MountEntry& mount) { return !isOnDevice(mount, number); });
  return mounts;
}

std::vector<MountEntry> MountTable::on(const MountEntry& mount) const {
  auto mounts = all();
  std::erase_if(mounts,
                [&mount](const MountEntry& each) { return each.parent != mount.identifier; });
  return mounts;
}

bool MountTable::isVisible(const MountEntry& mount) {
  struct statx status {};
  return ::statx(AT_FDCWD, mount.target.c_str(), AT_NO_AUTOMOUNT | AT_SYMLINK_NOFOLLOW,
                 STATX_MNT_ID, &status) == 0 &&
         status.stx_mnt_id == mount.identifier;
}

}  // namespace marrow
