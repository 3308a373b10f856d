#include "host/linux/folder_listing.h"

#include "host/linux/retry.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <dirent.h>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>

namespace marrow {

namespace {

// What readdir(3) of the C library reads at a time.
constexpr std::size_t kBufferSize = 32768;

// Some file systems do not tell in the listing what an entry is.
bool isFolder(int folder, const dirent64& entry) {
  struct stat status {};
  return entry.d_type == DT_DIR ||
         (entry.d_type == DT_UNKNOWN &&
          ::fstatat(folder, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
          S_ISDIR(status.st_mode));
}

void addEntry(int folder, const dirent64& entry, FolderListing& listing) {
  const std::string_view name = entry.d_name;
  if (name != "." && name != "..") {
    (isFolder(folder, entry) ? listing.folders : listing.others).emplace_back(name);
  }
}

}  // namespace

int listFolder(int folder, FolderListing& listing) {
  alignas(dirent64) std::array<char, kBufferSize> buffer;
  const auto read = [&] {
    return retryInterrupted([&] { return ::getdents64(folder, buffer.data(), buffer.size()); });
  };
  ssize_t length = 0;
  while ((length = read()) > 0) {
    for (ssize_t at = 0; at < length;) {
      // The kernel has put one record behind the other there.
      const auto* entry = reinterpret_cast<const dirent64*>(&buffer[static_cast<std::size_t>(at)]);
      addEntry(folder, *entry, listing);
      at += entry->d_reclen;
    }
  }
  return length == 0 ? 0 : errno;
}

}  // namespace marrow
