// File calls of Linux. A signal never ends one with EINTR, except close(2), which must not be
// repeated and whose own result is handed on.
#pragma once

#include "host/files.h"
#include "host/linux/wait_watch.h"

#include <mutex>

namespace marrow {

class LinuxFiles final : public Files {
 public:
  // The watch is told of flushes that take long.
  explicit LinuxFiles(WaitWatch& waits) : _waits(waits) {}

  int open(const std::string& path, OpenFlags flags) override;
  int close(int descriptor) override;
  std::int64_t read(int descriptor, std::span<std::byte> buffer) override;
  std::int64_t write(int descriptor, std::string_view bytes) override;

  // A terminal that took nothing for a second is not waited for again until it takes something.
  std::int64_t write(int descriptor, std::span<const std::string_view> pieces) override;

  int sync(int descriptor) override;

  // syncfs(2) of the whole file system, then fsync(2), which has the disk empty its cache.
  int fullSync(int descriptor) override;

  int statusOf(int descriptor, FileStatus& status) override;
  int statusAt(const std::string& path, FileStatus& status) override;
  int exists(const std::string& path) override;
  int makeFIFO(const std::string& path, std::uint32_t mode) override;
  int unlink(const std::string& path) override;

 private:
  WaitWatch& _waits;
  std::mutex _piecesMutex;
  bool _waitedInVain = false;  // guarded by _piecesMutex
};

}  // namespace marrow
