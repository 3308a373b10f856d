#include "host/linux/mount_source.h"

#include "host/linux/descriptor.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

namespace marrow {

namespace {

// A link that is followed for the first time has that noted in it, which memory alone cannot answer
// (EAGAIN); neither can it while the path changes. The mount itself, which has just begun, follows
// it a moment later, and then memory can.
constexpr std::array kPauses{std::chrono::milliseconds(1), std::chrono::milliseconds(10),
                             std::chrono::milliseconds(100)};

// openat2(2); the C library has no function for it.
Descriptor openRemembered(const Descriptor& directory, const std::string& path,
                          std::uint64_t resolve) {
  open_how how{};
  how.flags = O_PATH | O_CLOEXEC;
  how.resolve = RESOLVE_CACHED | resolve;
  const auto open = [&] {
    return Descriptor(static_cast<int>(
        ::syscall(SYS_openat2, directory.number(), path.c_str(), &how, sizeof(how))));
  };
  Descriptor opened = open();
  for (auto pause = kPauses.begin(); !opened && errno == EAGAIN && pause != kPauses.end();
       ++pause) {
    std::this_thread::sleep_for(*pause);
    opened = open();
  }
  return opened;
}

Descriptor openDirectory(const std::string& path) {
  return Descriptor(::open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

Descriptor openAbsolute(const std::string& path, const std::string& process) {
  Descriptor root = process.empty() ? Descriptor() : openDirectory(process + "/root");
  if (!root) {
    root = openDirectory("/");
  }
  return openRemembered(root, path, RESOLVE_IN_ROOT);
}

Descriptor openRelative(const std::string& path, const std::string& process) {
  const Descriptor directory = process.empty() ? Descriptor() : openDirectory(process + "/cwd");
  return directory ? openRemembered(directory, path, 0) : Descriptor();
}

std::optional<dev_t> numberOf(const Descriptor& opened) {
  struct stat status {};
  const bool isNode = opened && ::fstat(opened.number(), &status) == 0 && S_ISBLK(status.st_mode);
  return isNode ? std::optional(status.st_rdev) : std::nullopt;
}

}  // namespace

// A process that goes meanwhile may take its mounts along, and the devices' nodes with them.
std::optional<dev_t> blockDeviceNamed(const std::string& path, const std::string& process) {
  if (!path.starts_with('/')) {
    return numberOf(openRelative(path, process));
  }
  const auto found = numberOf(openAbsolute(path, process));
  const bool hasGone = !found && !process.empty() && !openDirectory(process + "/root");
  return hasGone ? numberOf(openAbsolute(path, "")) : found;
}

}  // namespace marrow
