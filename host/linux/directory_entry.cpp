#include "host/linux/directory_entry.h"

#include "host/linux/retry.h"
#include "host/paths.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace marrow {

DirectoryEntry openDirectoryOf(std::string_view path) {
  if (path.empty()) {
    errno = ENOENT;
    return {};
  }
  const std::string folder = deletingLastPathComponent(path);
  Descriptor opened(retryInterrupted([&] {
    return ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  }));
  return {std::move(opened), lastPathComponent(path)};
}

// A file system that cannot flush a single folder (fsync(2): EINVAL) is flushed whole.
bool flushDirectory(int folder) {
  if (retryInterrupted([&] { return ::fsync(folder); }) == 0) {
    return true;
  }
  return errno == EINVAL && retryInterrupted([&] { return ::syncfs(folder); }) == 0;
}

}  // namespace marrow
