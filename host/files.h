// POSIX file calls by their POSIX contracts: on failure -1 with errno set (errno(3)). Descriptors
// are closed on exec. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace marrow {

// How to open a file, open(2). Combined with |.
enum class OpenFlags : std::uint32_t {
  readOnly = 0,
  writeOnly = 1U << 0U,
  append = 1U << 1U,
  noControllingTerminal = 1U << 2U,  // nor is a terminal waited for that takes nothing
  nonBlocking = 1U << 3U,
  create = 1U << 4U,  // with mode 0644
  truncate = 1U << 5U,
  noFollow = 1U << 6U,  // what the path names is no link: otherwise ELOOP
  // No part of the path is a link: otherwise ELOOP (openat2(2), RESOLVE_NO_SYMLINKS). With
  // `create`, what stands at the path itself and is a link, a FIFO, a device, or a file that has
  // other names as well makes way for a new file, so that nothing else is written to.
  noLinks = 1U << 7U,
};

constexpr OpenFlags operator|(OpenFlags left, OpenFlags right) {
  return static_cast<OpenFlags>(static_cast<std::uint32_t>(left) |
                                static_cast<std::uint32_t>(right));
}
constexpr bool contains(OpenFlags flags, OpenFlags flag) {
  return (static_cast<std::uint32_t>(flags) & static_cast<std::uint32_t>(flag)) != 0;
}

struct FileStatus {
  std::int64_t size = 0;           // bytes
  std::uint64_t deviceNumber = 0;  // of a device node: st_rdev
};

class Files {
 public:
  virtual ~Files() = default;

  // A descriptor, 0 or above.
  virtual int open(const std::string& path, OpenFlags flags) = 0;
  virtual int close(int descriptor) = 0;

  // One read(2) or write(2): the number of bytes, which may be fewer than asked for.
  virtual std::int64_t read(int descriptor, std::span<std::byte> buffer) = 0;
  virtual std::int64_t write(int descriptor, std::string_view bytes) = 0;

  // The pieces one behind the other as one text, with none of another thread's between them: one
  // writev(2), and more where a terminal has no room for all of it at once. The number of bytes
  // that were taken.
  virtual std::int64_t write(int descriptor, std::span<const std::string_view> pieces) = 0;

  // fsync(2).
  virtual int sync(int descriptor) = 0;

  // F_FULLFSYNC: everything of this file and of its file system is on the medium when it returns.
  virtual int fullSync(int descriptor) = 0;

  virtual int statusOf(int descriptor, FileStatus& status) = 0;           // fstat(2)
  virtual int statusAt(const std::string& path, FileStatus& status) = 0;  // stat(2)

  // 0 when there is something at the path, a link not followed: faccessat(2) with F_OK and
  // AT_SYMLINK_NOFOLLOW.
  virtual int exists(const std::string& path) = 0;

  virtual int makeFIFO(const std::string& path, std::uint32_t mode) = 0;  // mkfifo(3)
  virtual int unlink(const std::string& path) = 0;
};

}  // namespace marrow
