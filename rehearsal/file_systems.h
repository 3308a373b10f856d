// The file systems of a machine's disk: made, and mounted for a moment.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace marrow::rehearsal {

enum class FileSystem { kExt4, kBtrfs, kXfs };

std::string nameOf(FileSystem kind);

// Throws Problem when the program that makes it is missing.
void requireFileSystem(FileSystem kind);

// The smallest volume in bytes that the file system is content with and that holds `content` bytes.
std::uint64_t volumeSize(FileSystem kind, std::uint64_t content);

// Makes a file system on the node.
void makeFileSystem(FileSystem kind, const std::filesystem::path& node);

// What kind of file system the node has, by its name; empty when none is known.
std::string fileSystemOn(const std::filesystem::path& node);

// A volume, mounted while this lives, at a folder that is made for it.
class MountedVolume {
 public:
  enum class Access { kReadOnly, kReadWrite };

  // The kind of file system is found out. Throws Problem.
  MountedVolume(const std::filesystem::path& node, std::filesystem::path place, Access access);
  ~MountedVolume();
  MountedVolume(const MountedVolume&) = delete;
  MountedVolume& operator=(const MountedVolume&) = delete;

  const std::filesystem::path& path() const { return _place; }

 private:
  std::filesystem::path _place;
};

}  // namespace marrow::rehearsal
