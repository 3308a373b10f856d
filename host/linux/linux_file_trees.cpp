#include "host/linux/linux_file_trees.h"

#include "host/error_record.h"
#include "host/linux/directory_entry.h"
#include "host/linux/errno_keeper.h"
#include "host/linux/file_move.h"
#include "host/linux/retry.h"
#include "host/linux/superseded_mark.h"
#include "host/linux/termination_guard.h"
#include "host/linux/tree_removal.h"
#include "host/text_format.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace marrow {

namespace {

struct Installation {
  DirectoryEntry from;
  DirectoryEntry to;
};

int renameEntry(const Installation& places, unsigned flags) {
  return retryInterrupted([&] {
    return ::renameat2(places.from.folder.number(), places.from.name.c_str(),
                       places.to.folder.number(), places.to.name.c_str(), flags);
  });
}

// Has what is staged reach the medium: a file by itself, a tree with its whole file system. Of a
// link or a special file there is nothing but its name.
bool flushWhole(const DirectoryEntry& entry) {
  struct stat status {};
  if (::fstatat(entry.folder.number(), entry.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    return false;
  }
  if (!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) {
    return true;
  }
  const Descriptor staged(retryInterrupted([&] {
    return ::openat(entry.folder.number(), entry.name.c_str(),
                    O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  }));
  return staged && retryInterrupted([&] {
                     return S_ISDIR(status.st_mode) ? ::syncfs(staged.number())
                                                    : ::fsync(staged.number());
                   }) == 0;
}

bool exists(const DirectoryEntry& entry) {
  return ::faccessat(entry.folder.number(), entry.name.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
}

bool isSameFolder(const Descriptor& left, const Descriptor& right) {
  struct stat first {};
  struct stat second {};
  return ::fstat(left.number(), &first) == 0 && ::fstat(right.number(), &second) == 0 &&
         first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

bool flushFolders(const Installation& places) {
  if (!flushDirectory(places.to.folder.number())) {
    return false;
  }
  return isSameFolder(places.from.folder, places.to.folder) ||
         flushDirectory(places.from.folder.number());
}

// False with errno set when a folder cannot be opened.
bool openPlaces(Installation& places, const std::string& from, const std::string& to) {
  places.from = openDirectoryOf(from);
  if (!places.from.folder) {
    return false;
  }
  places.to = openDirectoryOf(to);
  return static_cast<bool>(places.to.folder);
}

// Both mean that the file system cannot do it (renameat2(2)).
void settleExchangeError() {
  if (errno == ENOSYS || errno == EOPNOTSUPP) {
    errno = EINVAL;
  }
}

// Exchanges the places; EINVAL where the file system cannot.
bool exchange(const Installation& places) {
  if (renameEntry(places, RENAME_EXCHANGE) == 0) {
    return true;
  }
  settleExchangeError();
  return false;
}

// EINVAL is kept for an exchange that did not take place.
void settleFlushError() {
  if (errno == EINVAL) {
    errno = EIO;
  }
}

}  // namespace

LinuxFileTrees::LinuxFileTrees(LogHandle& log, WaitWatch& waits) : _log(log), _waits(waits) {}

bool LinuxFileTrees::flushStaged(const DirectoryEntry& entry, const std::string& path) const {
  const WaitWatch::Wait wait(
      _waits, [&path] { return "the disk to take " + path + " before it is installed"; });
  return flushWhole(entry);
}

int LinuxFileTrees::rename(const std::string& from, const std::string& to) {
  Installation places;
  if (!openPlaces(places, from, to) || !flushStaged(places.from, from)) {
    return -1;
  }
  const TerminationGuard guard;
  if (renameEntry(places, 0) != 0) {
    return -1;
  }
  return flushFolders(places) ? 0 : -1;
}

int LinuxFileTrees::swap(const std::string& from, const std::string& to) {
  Installation places;
  if (!openPlaces(places, from, to)) {
    return -1;
  }
  if (isMarkedSuperseded(places.from)) {
    return exists(places.to) && flushFolders(places) ? 0 : -1;
  }
  const TerminationGuard guard;
  markReplaced(places.to, to);
  if (!flushStaged(places.from, from) || !exchange(places)) {
    unmarkSuperseded(places.to);
    return -1;
  }
  if (flushFolders(places)) {
    return 0;
  }
  settleFlushError();
  const ErrnoKeeper keeper;
  renameEntry(places, RENAME_EXCHANGE);
  unmarkSuperseded(places.to);
  return -1;
}

// Without the mark the exchange is as safe; only a cut before the old tree is gone would have the
// next run put it back.
void LinuxFileTrees::markReplaced(const DirectoryEntry& entry, const std::string& path) {
  if (!markSuperseded(entry) && errno != ENOENT) {
    _log.log(LogLevel::info, formatText("Cannot mark %s as replaced: %s. If the power goes before "
                                        "it is removed, it is installed again.",
                                        path, errorNumberText(errno)));
  }
}

int LinuxFileTrees::removeRecursively(const std::string& path) { return removeTree(path); }

int LinuxFileTrees::moveFile(const std::string& from, const std::string& to) {
  return moveRegularFile(from, to, _log);
}

}  // namespace marrow
