// A real ext4 file system on a loop device, in a mount namespace of the program's own.
#pragma once

#include <string>

namespace marrow {

// Throws std::runtime_error when it cannot be had. Make it before any thread is started. Nothing of
// it stays, however the program ends: the image has no name any more once it is mounted, and the
// loop device goes with its mount.
class ScratchDisk {
 public:
  ScratchDisk();
  ~ScratchDisk();
  ScratchDisk(const ScratchDisk&) = delete;
  ScratchDisk& operator=(const ScratchDisk&) = delete;

  std::string at(const std::string& name) const { return _folder + "/mount/" + name; }

  // Has everything written so far reach the medium.
  void flush() const;

 private:
  std::string _folder = "/var/tmp/marrow-benchmark-XXXXXX";
};

// The program's one, made at the first call.
const ScratchDisk& scratchDisk();

}  // namespace marrow
