// A file system without room, in the two ways in which one can be full.
#pragma once

#include <cstddef>
#include <filesystem>

namespace marrow::sweep {

enum class Room {
  // So many blocks can still be given to files; what the file system keeps back for itself is
  // there.
  kForFiles,
  // So many blocks are left at all, of ext4: nothing is kept back.
  kAtAll
};

// Takes all blocks of the volume but so many, in a file of that path below the volume's root, whose
// folder is there. Nobody may be using the volume. Throws Problem, also when the volume has fewer.
void takeRoom(const std::filesystem::path& node, const std::filesystem::path& place,
              const std::filesystem::path& file, Room room, std::size_t blocks);

// Removes that file.
void giveRoom(const std::filesystem::path& node, const std::filesystem::path& place,
              const std::filesystem::path& file);

}  // namespace marrow::sweep
