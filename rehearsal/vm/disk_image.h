// File systems inside an image of a disk, made from folders by programs that neither mount anything
// nor need root (mke2fs(8), mtools(1), cpio(1)). All that is in them belongs to root.
#pragma once

#include "rehearsal/partition_table.h"

#include <filesystem>
#include <string>

namespace marrow::rehearsal {

// Throws the Problem that names the package when one of those programs is missing.
void requireImagePrograms();

// An ext4 on that partition, holding what the folder holds.
void makeExt4(const std::filesystem::path& image, const Partition& partition,
              const std::filesystem::path& folder);

// A FAT32 on that partition, holding what the folder holds.
void makeFat(const std::filesystem::path& image, const Partition& partition,
             const std::filesystem::path& folder);

// The folder as an archive that the kernel takes as an initial system (or a part of one).
std::string archiveOf(const std::filesystem::path& folder);

}  // namespace marrow::rehearsal
