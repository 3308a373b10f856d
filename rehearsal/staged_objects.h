// Trees of boot objects, the same for the same seed.
#pragma once

#include <cstdint>
#include <filesystem>

namespace marrow::rehearsal {

class Interruption;

struct TreeSize {
  std::uint64_t files = 40;
  std::uint64_t bytes = std::uint64_t{2} << 20U;
};

// The room in bytes that such a tree takes on a volume, folders and small files included.
std::uint64_t roomOf(const TreeSize& size);

// Where such a tree has its file of that number, counted from 0.
std::filesystem::path objectPath(std::uint64_t number);

// Makes a tree of `size.files` files that hold `size.bytes` bytes together, in folders of twenty,
// with a symbolic link and two modes. Stops at an interruption.
void makeTree(const std::filesystem::path& root, const TreeSize& size, std::uint64_t seed,
              Interruption& interruption);

// Makes one file of that many bytes, and the folders above it.
void makeObject(const std::filesystem::path& path, std::uint64_t bytes, std::uint64_t seed);

}  // namespace marrow::rehearsal
