#include "host/linux/linux_files.h"

#include "host/linux/directory_entry.h"
#include "host/linux/retry.h"
#include "host/linux/strict_open.h"
#include "host/linux/text_output.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace marrow {

namespace {

constexpr mode_t kNewFileMode = 0644;

// For a terminal that takes nothing.
constexpr std::chrono::milliseconds kTerminalPatience{1000};

int systemFlags(OpenFlags flags) {
  constexpr std::array<std::pair<OpenFlags, int>, 7> kFlags = {{
      {OpenFlags::writeOnly, O_WRONLY},
      {OpenFlags::append, O_APPEND},
      {OpenFlags::noControllingTerminal, O_NOCTTY | O_NONBLOCK},
      {OpenFlags::nonBlocking, O_NONBLOCK},
      {OpenFlags::create, O_CREAT},
      {OpenFlags::truncate, O_TRUNC},
      {OpenFlags::noFollow, O_NOFOLLOW},
  }};
  int combined = O_RDONLY | O_CLOEXEC;
  for (const auto& [flag, number] : kFlags) {
    combined |= contains(flags, flag) ? number : 0;
  }
  return combined;
}

// As the watch tells of it.
std::string flushOf(int descriptor) {
  std::error_code gone;
  const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
  return "the disk to take what is written below " +
         std::filesystem::read_symlink(link, gone).native();
}

FileStatus fileStatus(const struct stat& status) {
  return {status.st_size, S_ISBLK(status.st_mode) || S_ISCHR(status.st_mode) ? status.st_rdev : 0};
}

// Whether a file of this status holds what is written to it for itself alone, or will not be
// written to at all.
bool isPlain(const struct stat& status) {
  return S_ISDIR(status.st_mode) || (S_ISREG(status.st_mode) && status.st_nlink == 1);
}

// Where nothing is left at that place, or it cannot be removed, the open that follows tells.
void makeWay(const DirectoryEntry& entry) {
  struct stat status {};
  if (::fstatat(entry.folder.number(), entry.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
      !isPlain(status)) {
    ::unlinkat(entry.folder.number(), entry.name.c_str(), 0);
  }
}

int createWithoutLinks(const std::string& path, OpenFlags flags) {
  const DirectoryEntry entry = openDirectoryOf(path);
  if (!entry.folder) {
    return -1;
  }
  makeWay(entry);
  return retryInterrupted([&] {
    return ::openat(entry.folder.number(), entry.name.c_str(), systemFlags(flags) | O_NOFOLLOW,
                    kNewFileMode);
  });
}

}  // namespace

int LinuxFiles::open(const std::string& path, OpenFlags flags) {
  if (contains(flags, OpenFlags::noLinks)) {
    return contains(flags, OpenFlags::create)
               ? createWithoutLinks(path, flags)
               : openWithoutLinks(path, systemFlags(flags)).release();
  }
  return retryInterrupted([&] { return ::open(path.c_str(), systemFlags(flags), kNewFileMode); });
}

int LinuxFiles::close(int descriptor) { return ::close(descriptor); }

std::int64_t LinuxFiles::read(int descriptor, std::span<std::byte> buffer) {
  return retryInterrupted([&] { return ::read(descriptor, buffer.data(), buffer.size()); });
}

std::int64_t LinuxFiles::write(int descriptor, std::string_view bytes) {
  return retryInterrupted([&] { return ::write(descriptor, bytes.data(), bytes.size()); });
}

std::int64_t LinuxFiles::write(int descriptor, std::span<const std::string_view> pieces) {
  std::size_t size = 0;
  for (const std::string_view piece : pieces) {
    size += piece.size();
  }
  const std::lock_guard lock(_piecesMutex);
  const auto patience = _waitedInVain ? std::chrono::milliseconds::zero() : kTerminalPatience;
  const std::int64_t taken = writePieces(descriptor, pieces, patience);
  _waitedInVain = taken != static_cast<std::int64_t>(size) && errno == EAGAIN;
  return taken;
}

int LinuxFiles::sync(int descriptor) {
  return retryInterrupted([&] { return ::fsync(descriptor); });
}

int LinuxFiles::fullSync(int descriptor) {
  const WaitWatch::Wait wait(_waits, [descriptor] { return flushOf(descriptor); });
  if (retryInterrupted([&] { return ::syncfs(descriptor); }) != 0) {
    return -1;
  }
  return sync(descriptor);
}

int LinuxFiles::statusOf(int descriptor, FileStatus& status) {
  struct stat found {};
  const int result = retryInterrupted([&] { return ::fstat(descriptor, &found); });
  if (result == 0) {
    status = fileStatus(found);
  }
  return result;
}

int LinuxFiles::statusAt(const std::string& path, FileStatus& status) {
  struct stat found {};
  const int result = retryInterrupted([&] { return ::stat(path.c_str(), &found); });
  if (result == 0) {
    status = fileStatus(found);
  }
  return result;
}

int LinuxFiles::exists(const std::string& path) {
  return retryInterrupted(
      [&] { return ::faccessat(AT_FDCWD, path.c_str(), F_OK, AT_SYMLINK_NOFOLLOW); });
}

int LinuxFiles::makeFIFO(const std::string& path, std::uint32_t mode) {
  return retryInterrupted([&] { return ::mkfifo(path.c_str(), mode); });
}

int LinuxFiles::unlink(const std::string& path) {
  return retryInterrupted([&] { return ::unlink(path.c_str()); });
}

}  // namespace marrow
