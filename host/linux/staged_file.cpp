#include "host/linux/staged_file.h"

#include "host/linux/errno_keeper.h"
#include "host/linux/retry.h"
#include "host/linux/termination_guard.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>
#include <utility>

namespace marrow {

namespace {

// A name that nothing else has.
std::string randomName() {
  std::uint64_t number = 0;
  retryInterrupted([&] { return ::getrandom(&number, sizeof(number), 0); });
  std::array<char, 32> name{};
  std::snprintf(name.data(), name.size(), ".marrow-%016jx", static_cast<std::uintmax_t>(number));
  return name.data();
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
  std::string name = randomName();
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
