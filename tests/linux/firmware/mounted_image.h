// A small file system of its own, seen by this process alone. Needs root: the constructors throw
// without it.
#pragma once

#include <string>

namespace marrow {

// A file system in a file on a loop device. When it ends, the mount and the loop device must be
// gone, or the test fails.
class MountedImage {
 public:
  // `type` is one that mkfs makes ("ext4").
  explicit MountedImage(const std::string& type);
  MountedImage(const MountedImage&) = delete;
  MountedImage& operator=(const MountedImage&) = delete;
  ~MountedImage();

  const std::string& path() const { return _mountPoint; }

 private:
  std::string _folder;
  std::string _mountPoint;
};

// A file system in memory, with options of tmpfs(5), such as "size=32k".
class MountedMemory {
 public:
  explicit MountedMemory(const std::string& options);
  MountedMemory(const MountedMemory&) = delete;
  MountedMemory& operator=(const MountedMemory&) = delete;
  ~MountedMemory();

  const std::string& path() const { return _mountPoint; }

  void makeReadOnly() const;

 private:
  std::string _mountPoint;
};

}  // namespace marrow
