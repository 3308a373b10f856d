#include "host/linux/file_metadata.h"

#include "host/error_record.h"
#include "host/linux/retry.h"
#include "host/text_format.h"

#include <array>
#include <cerrno>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace marrow {

namespace {

constexpr mode_t kPermissions = 07777;

// What a file system answers that has no room for the attribute or the owner.
bool isBeyondFileSystem(int number) { return number == EOPNOTSUPP || number == ENOSYS; }

bool leaveOut(const std::string& what, LogHandle& log) {
  log.log(LogLevel::standard,
          formatText("Left out of a copied file: %s (%s)", what, errorNumberText(errno)));
  return true;
}

// The longest list and value that any file system holds (XATTR_LIST_MAX, XATTR_SIZE_MAX, xattr(7)).
using AttributeBuffer = std::string;
constexpr std::size_t kLargestAttribute = 65536;

bool copyAttribute(int from, int to, const std::string& name, LogHandle& log) {
  AttributeBuffer value(kLargestAttribute, '\0');
  const ssize_t size = ::fgetxattr(from, name.c_str(), value.data(), value.size());
  if (size < 0) {
    return errno == ENODATA;
  }
  if (::fsetxattr(to, name.c_str(), value.data(), static_cast<std::size_t>(size), 0) == 0) {
    return true;
  }
  return isBeyondFileSystem(errno) && leaveOut("attribute " + name, log);
}

// The access list is among them, as system.posix_acl_access (acl(5)).
bool copyAttributes(int from, int to, LogHandle& log) {
  AttributeBuffer names(kLargestAttribute, '\0');
  const ssize_t size = ::flistxattr(from, names.data(), names.size());
  if (size < 0) {
    return isBeyondFileSystem(errno);
  }
  std::string_view rest(names.data(), static_cast<std::size_t>(size));
  while (!rest.empty()) {
    const std::string name(rest.data());
    rest.remove_prefix(name.size() + 1);
    if (!copyAttribute(from, to, name, log)) {
      return false;
    }
  }
  return true;
}

// A file system without owners refuses even root (EPERM).
bool copyOwner(const struct stat& status, int to, LogHandle& log) {
  if (::fchown(to, status.st_uid, status.st_gid) == 0) {
    return true;
  }
  return (errno == EPERM || isBeyondFileSystem(errno)) && leaveOut("owner and group", log);
}

bool copyPermissions(const struct stat& status, int to, LogHandle& log) {
  if (::fchmod(to, status.st_mode & kPermissions) == 0) {
    return true;
  }
  return (errno == EPERM || isBeyondFileSystem(errno)) && leaveOut("permissions", log);
}

}  // namespace

// The owner first: to change it takes set-user-ID and capabilities away (chown(2)).
bool copyFileMetadata(int from, int to, LogHandle& log) {
  struct stat status {};
  return ::fstat(from, &status) == 0 && copyOwner(status, to, log) &&
         copyPermissions(status, to, log) && copyAttributes(from, to, log);
}

bool setFileTimes(const struct stat& status, int to) {
  const std::array<timespec, 2> times = {status.st_atim, status.st_mtim};
  return ::futimens(to, times.data()) == 0;
}

}  // namespace marrow
