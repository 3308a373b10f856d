#include "host/linux/linux_temporary_directory.h"

#include "host/error_record.h"
#include "host/linux/directory_entry.h"
#include "host/linux/retry.h"
#include "host/linux/tree_removal.h"
#include "host/paths.h"
#include "host/text_format.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace marrow {

namespace {

// Added to the path when something stays there that is not ours: nothing ever makes this one.
constexpr char kRefused[] = ".refused";

constexpr mode_t kOwnerOnly = 0700;
constexpr mode_t kFolderMode = 0755;

bool makeFolders(const std::string& path) {
  if (path.empty() || path == "/" || ::mkdir(path.c_str(), kFolderMode) == 0 || errno == EEXIST) {
    return true;
  }
  return errno == ENOENT && makeFolders(deletingLastPathComponent(path)) &&
         (::mkdir(path.c_str(), kFolderMode) == 0 || errno == EEXIST);
}

// The directory, if it is one and our own.
Descriptor openOwn(const DirectoryEntry& entry) {
  Descriptor directory(retryInterrupted([&] {
    return ::openat(entry.folder.number(), entry.name.c_str(),
                    O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  }));
  struct stat status {};
  if (directory && (::fstat(directory.number(), &status) != 0 || status.st_uid != ::geteuid())) {
    directory.reset();
  }
  return directory;
}

// False with errno set.
bool makeOwn(const std::string& path) {
  if (!makeFolders(deletingLastPathComponent(path))) {
    return false;
  }
  const DirectoryEntry entry = openDirectoryOf(path);
  if (!entry.folder) {
    return false;
  }
  if (const Descriptor present = openOwn(entry)) {
    return ::fchmod(present.number(), kOwnerOnly) == 0;
  }
  if (removeTree(path) != 0 && errno != ENOENT) {
    return false;
  }
  if (::mkdirat(entry.folder.number(), entry.name.c_str(), kOwnerOnly) != 0) {
    return false;
  }
  const Descriptor made = openOwn(entry);
  return made && ::fchmod(made.number(), kOwnerOnly) == 0;
}

bool isAbsent(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) != 0;
}

}  // namespace

LinuxTemporaryDirectory::LinuxTemporaryDirectory(LogHandle& log, std::string path)
    : _log(log), _path(std::move(path)) {}

std::string LinuxTemporaryDirectory::path() {
  const std::lock_guard lock(_mutex);
  if (!_made) {
    _made = makeOwn(_path);
  }
  if (_made) {
    return _path;
  }
  _log.log(LogLevel::error,
           formatText("Cannot make the temporary directory %s: %s", _path, errorNumberText(errno)));
  return isAbsent(_path) ? _path : _path + kRefused;
}

}  // namespace marrow
