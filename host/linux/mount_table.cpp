#include "host/linux/mount_table.h"

#include "host/linux/c_text.h"

#include <cstdio>
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

struct CloseStream {
  void operator()(FILE* stream) const { std::fclose(stream); }
};

Table readTable(Descriptor file, const std::string& path) {
  Table table(mnt_new_table());
  const std::unique_ptr<FILE, CloseStream> stream(file ? ::fdopen(file.number(), "re") : nullptr);
  if (!stream) {
    return nullptr;
  }
  file.release();
  return table && mnt_table_parse_stream(table.get(), stream.get(), path.c_str()) == 0
             ? std::move(table)
             : nullptr;
}

}  // namespace

// btrfs numbers its mounts with devices that do not exist: there the source tells.
bool MountEntry::isOnDevice(dev_t number) const {
  if (fileSystem == number) {
    return true;
  }
  struct stat status {};
  return major(fileSystem) == 0 && source.starts_with('/') &&
         ::stat(source.c_str(), &status) == 0 && S_ISBLK(status.st_mode) &&
         status.st_rdev == number;
}

MountTable::MountTable(const std::string& procfs) : _path(procfs + "/self/mountinfo") {}

MountTable::MountTable(Descriptor task) : _directory(std::move(task)), _path("mountinfo") {}

std::vector<MountEntry> MountTable::all() const {
  std::vector<MountEntry> mounts;
  const int directory = _directory ? _directory.number() : AT_FDCWD;
  const Table table =
      readTable(Descriptor(::openat(directory, _path.c_str(), O_RDONLY | O_CLOEXEC)), _path);
  const Iterator iterator(mnt_new_iter(MNT_ITER_FORWARD));
  libmnt_fs* mount = nullptr;
  while (table && iterator && mnt_table_next_fs(table.get(), iterator.get(), &mount) == 0) {
    mounts.push_back(entry(mount));
  }
  return mounts;
}

std::vector<MountEntry> MountTable::ofDevice(dev_t number) const {
  auto mounts = all();
  std::erase_if(mounts, [number](const MountEntry& mount) { return !mount.isOnDevice(number); });
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
