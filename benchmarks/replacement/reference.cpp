#include "benchmarks/replacement/ways.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace marrow {

namespace {

void check(bool done, const char* call) {
  if (!done) {
    throw std::runtime_error(std::string(call) + ": " + std::strerror(errno));
  }
}

void removeFolder(int parent, const char* name) {
  DIR* const stream =
      ::fdopendir(::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  check(stream != nullptr, "fdopendir");
  const int folder = ::dirfd(stream);
  std::vector<std::string> folders;
  std::vector<std::string> files;
  while (const dirent* entry = ::readdir(stream)) {  // NOLINT(concurrency-mt-unsafe)
    const std::string_view each = entry->d_name;
    if (each != "." && each != "..") {
      (entry->d_type == DT_DIR ? folders : files).emplace_back(each);
    }
  }
  for (const auto& file : files) {
    check(::unlinkat(folder, file.c_str(), 0) == 0, "unlinkat");
  }
  for (const auto& each : folders) {
    removeFolder(folder, each.c_str());
  }
  ::closedir(stream);
  check(::unlinkat(parent, name, AT_REMOVEDIR) == 0, "unlinkat");
}

class Reference final : public Replacement {
 public:
  using Replacement::Replacement;

  std::string name() const override { return "reference"; }
  void prepare() override { prepareFolders(); }

  void replace() override {
    const int folder = ::open(disk().at("").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    check(::syncfs(folder) == 0, "syncfs");
    check(::renameat2(folder, "staged", folder, "live", RENAME_EXCHANGE) == 0, "renameat2");
    check(::fsync(folder) == 0, "fsync");
    removeFolder(folder, "staged");
    check(::syncfs(folder) == 0, "syncfs");
    ::close(folder);
  }
};

}  // namespace

std::unique_ptr<Replacement> makeReference(const ScratchDisk& disk, const TreeShape& shape) {
  return std::make_unique<Reference>(disk, shape);
}

}  // namespace marrow
