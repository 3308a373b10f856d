// What the superblock of a file system says about it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace marrow::migrator {

// So many bytes from the start of a volume hold every superblock known here.
inline constexpr std::size_t kSuperblockArea = std::size_t{128} * 1024;

struct Superblock {
  // "ext4", "btrfs", "xfs", or "luks2" of an encrypted volume.
  std::string fileSystem;
  std::uint64_t blockSize = 0;
  // The whole file system, or the header of an encrypted volume, in bytes.
  std::uint64_t size = 0;
};

// Reads the start of a volume; nothing when no file system is known by its magic number. Offsets:
// ext4_super_block (kernel, Documentation/filesystems/ext4/super.rst), btrfs_super_block
// (include/uapi/linux/btrfs_tree.h), xfs_dsb (fs/xfs/libxfs/xfs_format.h), luks2_hdr_disk
// (cryptsetup, lib/luks2/luks2.h).
std::optional<Superblock> readSuperblock(std::string_view start);

// A sentence on what is wrong with it on a volume of that many bytes; empty when nothing is.
std::string complaintAbout(const Superblock& superblock, std::uint64_t volumeSize);

}  // namespace marrow::migrator
