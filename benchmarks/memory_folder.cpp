#include "benchmarks/memory_folder.h"

#include "benchmarks/scratch_disk.h"

#include <cstdlib>
#include <stdexcept>
#include <sys/mount.h>
#include <unistd.h>

namespace marrow {

MemoryFolder::MemoryFolder() {
  enterMountNamespace();
  if (::mkdtemp(_path.data()) == nullptr ||
      ::mount("tmpfs", _path.c_str(), "tmpfs", 0, "size=1g,mode=0700") != 0) {
    ::rmdir(_path.c_str());
    throw std::runtime_error("Cannot make a folder in memory. The benchmarks need root.");
  }
}

MemoryFolder::~MemoryFolder() {
  ::umount(_path.c_str());
  ::rmdir(_path.c_str());
}

}  // namespace marrow
