#include "host/linux/kernel_log.h"

#include "host/linux/broken_pipe_guard.h"
#include "host/linux/retry.h"
#include "host/linux/small_file.h"
#include "host/linux/text_cut.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace marrow {

namespace {

constexpr int kDaemonFacility = 3;  // LOG_DAEMON of syslog(3)
constexpr int kPatience = 1000;     // milliseconds

// A prefix leaves at least this much of a record to the text.
constexpr std::size_t kSmallestText = 256;

// The kernel takes a record for ended at a zero byte; it is told as the kernel shows such bytes.
std::string withoutZeros(std::string_view text) {
  std::string clean;
  clean.reserve(text.size());
  for (const char byte : text) {
    if (byte == '\0') {
      clean += "\\x00";
    } else {
      clean += byte;
    }
  }
  return clean;
}

bool waitUntilWritable(int descriptor) {
  pollfd waiting{descriptor, POLLOUT, 0};
  return retryInterrupted([&] { return ::poll(&waiting, 1, kPatience); }) > 0 &&
         (waiting.revents & POLLOUT) != 0;
}

}  // namespace

void KernelLog::write(int severity, std::string_view prefix, std::string_view text) {
  const std::string start = '<' + std::to_string(kDaemonFacility * 8 + severity) + '>' +
                            std::string(cutText(prefix, kKernelLogRecordLimit - kSmallestText));
  const std::size_t room = kKernelLogRecordLimit - start.size() - 1;
  const std::string clean = withoutZeros(text);
  const std::lock_guard lock(_mutex);
  const BrokenPipeGuard guard;
  bool writing = ensureOpen();
  for (std::string_view rest = clean; writing;) {
    const std::string_view part = cutText(rest, room);
    rest.remove_prefix(part.size());
    writing = writeRecord(start + std::string(part) + '\n') && !rest.empty();
  }
}

bool KernelLog::ensureOpen() {
  if (!_records) {
    writeSmallFile(_places.limitSwitch, "on\n");
    _records = Descriptor(retryInterrupted([&] {
      return ::open(_places.records.c_str(),
                    O_WRONLY | O_APPEND | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    }));
  }
  return static_cast<bool>(_records);
}

// One write is one record. The kernel takes the line feed at its end for the end of the record;
// what stands in its place instead, a file or a FIFO, needs it to tell the records apart.
bool KernelLog::writeRecord(const std::string& record) {
  const auto write = [&] { return ::write(_records.number(), record.data(), record.size()); };
  if (retryInterrupted(write) >= 0) {
    return true;
  }
  return errno == EAGAIN && waitUntilWritable(_records.number()) && retryInterrupted(write) >= 0;
}

}  // namespace marrow
