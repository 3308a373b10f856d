#include "rehearsal/file_systems.h"

#include "rehearsal/descriptor.h"
#include "rehearsal/migrator/superblock.h"
#include "rehearsal/programs.h"
#include "rehearsal/units.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/mount.h>

namespace marrow::rehearsal {
namespace {

// What the tools refuse to go below: mkfs.xfs 300 MiB, mkfs.btrfs about 109 MiB.
std::uint64_t smallest(FileSystem kind) {
  switch (kind) {
    case FileSystem::kXfs:
      return 300 * kMebibyte;
    case FileSystem::kBtrfs:
      return 128 * kMebibyte;
    case FileSystem::kExt4:
      break;
  }
  return 16 * kMebibyte;
}

std::string packageOf(FileSystem kind) {
  switch (kind) {
    case FileSystem::kXfs:
      return "xfsprogs";
    case FileSystem::kBtrfs:
      return "btrfs-progs";
    case FileSystem::kExt4:
      break;
  }
  return "e2fsprogs";
}

// One of the three of which disks are made, told by its superblock; empty for any other. Programs
// that know more of them take a hundred times as long.
std::string knownFileSystemOn(const std::filesystem::path& node) {
  const Descriptor volume(::open(node.c_str(), O_RDONLY | O_CLOEXEC));
  std::string start(migrator::kSuperblockArea, '\0');
  const ssize_t count = volume ? ::pread(volume.number(), start.data(), start.size(), 0) : 0;
  start.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  const auto superblock = migrator::readSuperblock(start);
  return superblock ? superblock->fileSystem : "";
}

}  // namespace

std::string nameOf(FileSystem kind) {
  switch (kind) {
    case FileSystem::kXfs:
      return "xfs";
    case FileSystem::kBtrfs:
      return "btrfs";
    case FileSystem::kExt4:
      break;
  }
  return "ext4";
}

void requireFileSystem(FileSystem kind) { requireProgram("mkfs." + nameOf(kind), packageOf(kind)); }

std::uint64_t volumeSize(FileSystem kind, std::uint64_t content) {
  return std::max(smallest(kind), content + content / 4 + 8 * kMebibyte);
}

void makeFileSystem(FileSystem kind, const std::filesystem::path& node) {
  const std::string force = kind == FileSystem::kExt4 ? "-F" : "-f";
  runProgram({"mkfs." + nameOf(kind), "-q", force, node});
}

std::string fileSystemOn(const std::filesystem::path& node) {
  if (std::string known = knownFileSystemOn(node); !known.empty()) {
    return known;
  }
  // lsblk(8) and findmnt(8) ask udev, which a machine without it cannot answer.
  std::string name = runProgram({"blkid", "-p", "-s", "TYPE", "-o", "value", node});
  while (!name.empty() && name.back() == '\n') {
    name.pop_back();
  }
  return name;
}

MountedVolume::MountedVolume(const std::filesystem::path& node, std::filesystem::path place,
                             Access access)
    : _place(std::move(place)) {
  std::filesystem::create_directories(_place);
  const std::string known = knownFileSystemOn(node);
  const unsigned long readOnly = access == Access::kReadOnly ? MS_RDONLY : 0;
  if (!known.empty() && ::mount(node.c_str(), _place.c_str(), known.c_str(),
                                readOnly | MS_NOSUID | MS_NODEV, nullptr) == 0) {
    return;
  }
  const std::string mode = access == Access::kReadOnly ? "ro" : "rw";
  runProgram({"mount", "-n", "-o", mode + ",nosuid,nodev", node, _place});
}

MountedVolume::~MountedVolume() { ::umount2(_place.c_str(), 0); }

}  // namespace marrow::rehearsal
