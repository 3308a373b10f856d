#include "host/linux/strict_open.h"

#include "host/linux/retry.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace marrow {

Descriptor openWithoutLinks(const std::string& path, int flags) {
  open_how how{};
  how.flags = static_cast<std::uint64_t>(flags) | O_CLOEXEC;
  how.resolve = RESOLVE_NO_SYMLINKS;
  return Descriptor(static_cast<int>(retryInterrupted(
      [&] { return ::syscall(SYS_openat2, AT_FDCWD, path.c_str(), &how, sizeof how); })));
}

}  // namespace marrow
