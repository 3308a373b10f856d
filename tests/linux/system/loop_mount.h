// A file system of a test's own on a loop device, mounted in a mount namespace of the test's own.
#pragma once

#include "tests/contract/system/scratch_folder.h"

#include <string>

namespace marrow {

// From now on this thread's mounts are its own. Needs root.
void enterPrivateMounts();

class LoopMount {
 public:
  // "ext4", "btrfs", "xfs" on a loop device that goes with its mount, "tmpfs", or "vfat".
  explicit LoopMount(const std::string& type);
  LoopMount(const LoopMount&) = delete;
  LoopMount& operator=(const LoopMount&) = delete;

  // Fails the test when the file system or its loop device stays behind.
  ~LoopMount();

  std::string at(const std::string& name) const { return _folder.at("mount/" + name); }
  std::string path() const { return _folder.at("mount"); }

 private:
  ScratchFolder _folder{"/var/tmp/marrow-test-XXXXXX"};
};

}  // namespace marrow
