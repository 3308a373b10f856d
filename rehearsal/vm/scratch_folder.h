// A folder in $TMPDIR (or /tmp) that goes with all that is in it.
#pragma once

#include <filesystem>

namespace marrow::rehearsal {

class ScratchFolder {
 public:
  // Throws Problem.
  ScratchFolder();
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::filesystem::path& path() const { return _path; }

 private:
  std::filesystem::path _path;
};

}  // namespace marrow::rehearsal
