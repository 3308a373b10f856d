// A real file system on a loop device, in a mount namespace of the program's own.
#pragma once

#include <string>

namespace marrow {

// Throws std::runtime_error when it cannot be had. Make the first before any thread is started.
// Nothing of it stays, however the program ends: the image has no name any more once it is mounted,
// and the loop device goes with its mount.
class ScratchDisk {
 public:
  // `fileSystem` is ext4, btrfs or xfs, with mkfs.TYPE's defaults.
  explicit ScratchDisk(const std::string& fileSystem = "ext4", unsigned mebibytes = 768);
  ~ScratchDisk();
  ScratchDisk(const ScratchDisk&) = delete;
  ScratchDisk& operator=(const ScratchDisk&) = delete;

  const std::string& fileSystem() const { return _fileSystem; }
  std::string at(const std::string& name) const { return _folder + "/mount/" + name; }
  // The loop device, and the folder that it is mounted at.
  const std::string& node() const { return _node; }

  // Has everything written so far reach the medium.
  void flush() const;
  // Flushes, and has the kernel forget what it has cached of this and every other file system
  // (proc(5), drop_caches).
  void forget() const;

 private:
  void mount();

  std::string _fileSystem;
  std::string _folder = "/var/tmp/marrow-benchmark-XXXXXX";
  std::string _node;
};

// A mount namespace of the program's own, from the first call on. Throws std::runtime_error.
void enterMountNamespace();

// The program's ext4, made at the first call.
const ScratchDisk& scratchDisk();

}  // namespace marrow
