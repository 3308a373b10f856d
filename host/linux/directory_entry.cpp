#include "host/linux/directory_entry.h"

#include "host/linux/retry.h"
#include "host/linux/strict_open.h"
#include "host/paths.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace marrow {

namespace {

Descriptor openFolderAt(const std::string& path, LinksOnTheWay links) {
  constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
  return links == LinksOnTheWay::refused
             ? openWithoutLinks(path, kFlags)
             : Descriptor(retryInterrupted([&] { return ::open(path.c_str(), kFlags); }));
}

}  // namespace

DirectoryEntry openDirectoryOf(std::string_view path, LinksOnTheWay links) {
  if (path.empty()) {
    errno = ENOENT;
    return {};
  }
  const std::string above = deletingLastPathComponent(path);
  Descriptor opened = openFolderAt(above.empty() ? "." : above, links);
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
