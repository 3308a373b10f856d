#include "rehearsal/file_systems.h"

#include "rehearsal/programs.h"
#include "rehearsal/units.h"

#include <algorithm>
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
  const std::string mode = access == Access::kReadOnly ? "ro" : "rw";
  runProgram({"mount", "-n", "-o", mode + ",nosuid,nodev", node, _place});
}

MountedVolume::~MountedVolume() { ::umount2(_place.c_str(), 0); }

}  // namespace marrow::rehearsal
