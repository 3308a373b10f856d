#include "host/linux/staged_file.h"

#include "host/linux/errno_keeper.h"
#include "host/linux/retry.h"
#include "host/linux/termination_guard.h"
#include "host/linux/text_cut.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace marrow {

namespace {

constexpr std::string_view kPrefix = ".marrow-";
// With the prefix, what every file system has room for (NAME_MAX).
constexpr std::size_t kLongestPart = 200;

// Always the same for the same place, so that what a run left behind that was cut is found again.
std::string newName(const std::string& name) {
  return std::string(kPrefix).append(cutText(name, kLongestPart));
}

}  // namespace

StagedFile::StagedFile(std::string path) : _path(std::move(path)) {}

StagedFile::~StagedFile() {
  if (!_name.empty()) {
    const ErrnoKeeper keeper;
    ::unlinkat(_place.folder.number(), _name.c_str(), 0);
  }
}

bool StagedFile::create(unsigned mode) {
  _place = openDirectoryOf(_path);
  if (!_place.folder) {
    return false;
  }
  std::string name = newName(_place.name);
  ::unlinkat(_place.folder.number(), name.c_str(), 0);
  _file = Descriptor(retryInterrupted([&] {
    return ::openat(_place.folder.number(), name.c_str(),
                    O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
  }));
  if (_file) {
    _name = std::move(name);
  }
  return static_cast<bool>(_file);
}

bool StagedFile::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count =
        retryInterrupted([&] { return ::write(_file.number(), bytes.data(), bytes.size()); });
    if (count < 0) {
      return false;
    }
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

bool StagedFile::install() {
  if (retryInterrupted([&] { return ::fsync(_file.number()); }) != 0) {
    return false;
  }
  const int folder = _place.folder.number();
  const TerminationGuard guard;
  if (retryInterrupted(
          [&] { return ::renameat(folder, _name.c_str(), folder, _place.name.c_str()); }) != 0) {
    return false;
  }
  _name.clear();
  return flushDirectory(folder);
}

}  // namespace marrow
