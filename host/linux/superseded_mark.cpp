#include "host/linux/superseded_mark.h"

#include "host/linux/errno_keeper.h"
#include "host/linux/retry.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <sys/xattr.h>

namespace marrow {

namespace {

constexpr char kAttribute[] = "trusted.marrow.superseded";

Descriptor openFolder(const DirectoryEntry& entry) {
  return Descriptor(retryInterrupted([&] {
    return ::openat(entry.folder.number(), entry.name.c_str(),
                    O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  }));
}

// What the mark of this very folder says. Absent with errno set.
std::optional<std::string> identityOf(const Descriptor& folder) {
  struct statx status {};
  if (::statx(folder.number(), "", AT_EMPTY_PATH, STATX_INO | STATX_BTIME, &status) != 0) {
    return std::nullopt;
  }
  return std::to_string(status.stx_ino) + " " + std::to_string(status.stx_btime.tv_sec) + "." +
         std::to_string(status.stx_btime.tv_nsec);
}

}  // namespace

bool markSuperseded(const DirectoryEntry& entry) {
  const Descriptor folder = openFolder(entry);
  if (!folder) {
    return errno == ENOTDIR || errno == ELOOP;
  }
  const auto identity = identityOf(folder);
  return identity &&
         ::fsetxattr(folder.number(), kAttribute, identity->data(), identity->size(), 0) == 0;
}

void unmarkSuperseded(const DirectoryEntry& entry) {
  const ErrnoKeeper keeper;
  if (const Descriptor folder = openFolder(entry)) {
    ::fremovexattr(folder.number(), kAttribute);
  }
}

bool isMarkedSuperseded(const DirectoryEntry& entry) {
  const Descriptor folder = openFolder(entry);
  const auto identity = folder ? identityOf(folder) : std::nullopt;
  std::array<char, 64> value{};
  const ssize_t length =
      identity ? ::fgetxattr(folder.number(), kAttribute, value.data(), value.size()) : -1;
  return length > 0 &&
         std::string_view(value.data(), static_cast<std::size_t>(length)) == *identity;
}

}  // namespace marrow
