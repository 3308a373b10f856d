#include "host/linux/file_move.h"

#include "host/linux/directory_entry.h"
#include "host/linux/file_metadata.h"
#include "host/linux/retry.h"
#include "host/linux/staged_file.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace marrow {

namespace {

constexpr std::size_t kCopyBuffer = std::size_t{256} << 10U;

Descriptor openRegularFile(const DirectoryEntry& entry) {
  Descriptor file(retryInterrupted([&] {
    return ::openat(entry.folder.number(), entry.name.c_str(),
                    O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  }));
  struct stat status {};
  if (file && ::fstat(file.number(), &status) == 0 && !S_ISREG(status.st_mode)) {
    file.reset();
    errno = EINVAL;
  }
  return file;
}

bool copyContents(int from, StagedFile& to) {
  std::string buffer(kCopyBuffer, '\0');
  for (;;) {
    const ssize_t count =
        retryInterrupted([&] { return ::read(from, buffer.data(), buffer.size()); });
    if (count <= 0) {
      return count == 0;
    }
    if (!to.write(std::string_view{buffer}.substr(0, static_cast<std::size_t>(count)))) {
      return false;
    }
  }
}

// Readable by nobody else until it has the permissions of the source. Reading the source changes
// its time of access: the times are those from before.
bool copyBeside(int from, StagedFile& to, LogHandle& log) {
  constexpr unsigned kOwnerOnly = 0600;
  struct stat before {};
  return ::fstat(from, &before) == 0 && to.create(kOwnerOnly) && copyContents(from, to) &&
         copyFileMetadata(from, to.descriptor(), log) && setFileTimes(before, to.descriptor());
}

// Where both paths are the same, the copy stands there now and must not be removed.
bool removeSource(const DirectoryEntry& entry, int source) {
  struct stat opened {};
  struct stat named {};
  const int flags = AT_SYMLINK_NOFOLLOW;
  if (::fstat(source, &opened) != 0) {
    return false;
  }
  if (::fstatat(entry.folder.number(), entry.name.c_str(), &named, flags) != 0) {
    return errno == ENOENT;
  }
  if (named.st_dev != opened.st_dev || named.st_ino != opened.st_ino) {
    return true;
  }
  return ::unlinkat(entry.folder.number(), entry.name.c_str(), 0) == 0;
}

}  // namespace

int moveRegularFile(const std::string& from, const std::string& to, LogHandle& log) {
  // The base system may have its folder for temporary files elsewhere; the volume may not.
  const DirectoryEntry entry = openDirectoryOf(from, LinksOnTheWay::followed);
  if (!entry.folder) {
    return -1;
  }
  const Descriptor source = openRegularFile(entry);
  if (!source) {
    return -1;
  }
  StagedFile copy(to);
  const bool moved = copyBeside(source.number(), copy, log) && copy.install() &&
                     removeSource(entry, source.number());
  return moved ? 0 : -1;
}

}  // namespace marrow
