#include "host/linux/efi_variable_file.h"

#include "host/linux/descriptor.h"
#include "host/linux/retry.h"
#include "host/linux/small_file.h"

#include <cerrno>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace marrow {

namespace {

constexpr std::size_t kAttributesLength = 4;

// A plain folder in the firmware's place may hold links and FIFOs.
constexpr int kQuietly = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

// efivarfs makes every variable that it does not know immutable, so that nobody deletes one by
// accident (Documentation/filesystems/efivarfs.rst). This takes the flag off a file for as long as
// it lives. Where that is not allowed, the change itself will fail and say so.
class ImmutableFlagLifted {
 public:
  explicit ImmutableFlagLifted(const std::string& path)
      : _file(retryInterrupted([&] { return ::open(path.c_str(), kQuietly | O_RDONLY); })) {
    if (_file && request(FS_IOC_GETFLAGS, _flags) == 0 && isImmutable()) {
      set(_flags & ~FS_IMMUTABLE_FL);
    }
  }
  ImmutableFlagLifted(const ImmutableFlagLifted&) = delete;
  ImmutableFlagLifted& operator=(const ImmutableFlagLifted&) = delete;
  ~ImmutableFlagLifted() {
    if (isImmutable() && isStillThere()) {
      set(_flags);
    }
  }

 private:
  bool isImmutable() const { return (_flags & FS_IMMUTABLE_FL) != 0; }
  bool isStillThere() const {
    struct stat status {};
    return ::fstat(_file.number(), &status) == 0 && status.st_nlink > 0;
  }
  int request(unsigned long what, int& flags) const {
    return retryInterrupted([&] { return ::ioctl(_file.number(), what, &flags); });
  }
  void set(int flags) const { request(FS_IOC_SETFLAGS, flags); }

  Descriptor _file;
  int _flags = 0;  // the kernel takes an int, whatever the request's number says
};

int removeMutable(const std::string& path) {
  const int status = retryInterrupted([&] { return ::unlink(path.c_str()); });
  return status == 0 || errno == ENOENT ? 0 : errno;
}

// The firmware takes each write(2) for a value of its own, so there must be one only. Without
// O_TRUNC a plain file would keep the tail of a longer value.
int writeMutable(const std::string& path, std::string_view bytes) {
  const Descriptor file(retryInterrupted(
      [&] { return ::open(path.c_str(), kQuietly | O_WRONLY | O_CREAT | O_TRUNC, 0644); }));
  if (!file) {
    return errno;
  }
  const ssize_t count =
      retryInterrupted([&] { return ::write(file.number(), bytes.data(), bytes.size()); });
  if (count < 0) {
    return errno;
  }
  return static_cast<std::size_t>(count) == bytes.size() ? 0 : ENOSPC;
}

// The firmware refuses to change the attributes of a variable (EINVAL).
bool hasOtherAttributes(std::string_view old, std::string_view bytes) {
  return old.size() >= kAttributesLength &&
         old.substr(0, kAttributesLength) != bytes.substr(0, kAttributesLength);
}

int replace(const std::string& path, const std::optional<std::string>& old,
            std::string_view bytes) {
  const ImmutableFlagLifted lifted(path);
  const int status = old && hasOtherAttributes(*old, bytes) ? removeMutable(path) : 0;
  return status == 0 ? writeMutable(path, bytes) : status;
}

bool isAsItWas(const std::string& path, const std::optional<std::string>& old) {
  return readEFIVariableFile(path) == old;
}

bool putBack(const std::string& path, const std::optional<std::string>& old) {
  if (isAsItWas(path, old)) {
    return true;
  }
  return (old ? replace(path, std::nullopt, *old) : removeEFIVariableFile(path)) == 0;
}

}  // namespace

std::optional<std::string> readEFIVariableFile(const std::string& path) {
  auto bytes = readSmallFile(path, kEFIVariableFileLimit + 1);
  if (bytes && bytes->size() > kEFIVariableFileLimit) {
    errno = EFBIG;
    return std::nullopt;
  }
  return bytes;
}

int writeEFIVariableFile(const std::string& path, std::string_view bytes) {
  if (bytes.size() > kEFIVariableFileLimit) {
    return EFBIG;
  }
  const auto old = readEFIVariableFile(path);
  if (!old && errno != ENOENT) {
    return errno;
  }
  if (old && *old == bytes) {
    return 0;
  }
  const int status = replace(path, old, bytes);
  return status == 0 || putBack(path, old) ? status : ENOTRECOVERABLE;
}

int removeEFIVariableFile(const std::string& path) {
  const ImmutableFlagLifted lifted(path);
  return removeMutable(path);
}

}  // namespace marrow
