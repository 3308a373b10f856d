#include "rehearsal/vm/scratch_folder.h"

#include "rehearsal/problem.h"

#include <cstdlib>
#include <string>

namespace marrow::rehearsal {

ScratchFolder::ScratchFolder() {
  std::string path = std::filesystem::temp_directory_path() / "marrow-vm-XXXXXX";
  if (::mkdtemp(path.data()) == nullptr) {
    failWithErrno("make a folder in " + std::filesystem::temp_directory_path().string());
  }
  _path = path;
}

ScratchFolder::~ScratchFolder() {
  std::error_code none;
  std::filesystem::remove_all(_path, none);
}

}  // namespace marrow::rehearsal
