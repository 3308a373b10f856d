// The writes of a machine to its disk, recorded by QEMU (its driver blklogwrites) in the format of
// the kernel's Documentation/admin-guide/device-mapper/log-writes.rst, and what a loss of power
// leaves of them.
#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

namespace marrow::rehearsal {

// Numbers are bytes.
struct LoggedWrite {
  // On the disk.
  std::uint64_t place = 0;
  std::uint64_t length = 0;
  // Where its bytes stand in the log.
  std::uint64_t data = 0;
  // All that was written before it has reached the medium; it has itself; it is a discard.
  bool isFlush = false;
  bool isForced = false;
  bool isDiscard = false;
};

// In the order in which they were done; a record that is cut off ends there. Throws Problem when
// the log is none.
std::vector<LoggedWrite> readWriteLog(int log);

struct KeptWrites {
  std::size_t flushed = 0;
  // Written after the last flush: of these a disk may have kept any.
  std::size_t kept = 0;
  std::size_t lost = 0;
};

// Does the recorded writes again on the image, which is as it was when the recording began: all
// that were flushed or forced through the disk's cache, and of the others one in two, chosen by the
// seed. A record that is cut off ends there. Throws Problem when the log is none.
KeptWrites replayAfterCut(const std::filesystem::path& log, const std::filesystem::path& image,
                          std::uint64_t seed);

}  // namespace marrow::rehearsal
