// The place where a machine is put together: a file system in memory that only this process and its
// children see.
#pragma once

#include "rehearsal/descriptor.h"

#include <filesystem>

namespace marrow::rehearsal {

// Throws the Problem that says what to do where this process cannot have mounts of its own.
void requireOwnMounts();

// Once made, this process has mounts of its own, and /mnt is the workplace. The kernel takes all of
// it back when the last process of the rehearsal is gone, so that nothing has to be cleaned up,
// also after SIGKILL. What is unmounted outside goes away in here too: a rehearsal keeps no disk of
// the real machine busy. Paths that lie below /mnt outside are not seen any more: open them before.
class Workplace {
 public:
  Workplace();

  // Makes a folder in it, and returns its path.
  std::filesystem::path folder(const std::filesystem::path& name) const;
};

// A file without a name in $TMPDIR (or /tmp): it is gone when nobody has it open.
Descriptor makeNamelessFile();

}  // namespace marrow::rehearsal
