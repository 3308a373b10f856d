#include "host/linux/text_output.h"

#include "host/linux/broken_pipe_guard.h"
#include "host/linux/retry.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/uio.h>
#include <unistd.h>
#include <vector>

namespace marrow {

namespace {

using OutputClock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kPatience{1000};

// False when the deadline has passed: a terminal may tell of room that it does not give.
bool waitForReader(int descriptor, OutputClock::time_point deadline) {
  const auto left = std::chrono::ceil<milliseconds>(deadline - OutputClock::now()).count();
  if (left <= 0) {
    return false;
  }
  pollfd waiting{descriptor, POLLOUT, 0};
  ::poll(&waiting, 1, static_cast<int>(left));
  return true;
}

std::vector<iovec> partsOf(std::span<const std::string_view> pieces) {
  std::vector<iovec> parts;
  parts.reserve(pieces.size());
  for (const std::string_view piece : pieces) {
    parts.push_back({const_cast<char*>(piece.data()), piece.size()});
  }
  return parts;
}

// What is left of them when so many bytes of them were taken.
std::span<iovec> withoutFirst(std::span<iovec> parts, std::size_t bytes) {
  while (!parts.empty() && bytes >= parts.front().iov_len) {
    bytes -= parts.front().iov_len;
    parts = parts.subspan(1);
  }
  if (!parts.empty()) {
    parts.front().iov_base = static_cast<char*>(parts.front().iov_base) + bytes;
    parts.front().iov_len -= bytes;
  }
  return parts;
}

}  // namespace

Descriptor openTextOutput(const std::string& path) {
  return Descriptor(::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
}

std::int64_t writePieces(int descriptor, std::span<const std::string_view> pieces,
                         milliseconds patience) {
  std::vector<iovec> all = partsOf(pieces);
  std::int64_t taken = 0;
  auto deadline = OutputClock::now() + patience;
  for (std::span<iovec> left = withoutFirst(all, 0); !left.empty();) {
    const ssize_t count = retryInterrupted(
        [&] { return ::writev(descriptor, left.data(), static_cast<int>(left.size())); });
    if (count >= 0) {
      taken += count;
      deadline = OutputClock::now() + patience;
      left = withoutFirst(left, static_cast<std::size_t>(count));
    } else if (errno != EAGAIN || !waitForReader(descriptor, deadline)) {
      return taken > 0 ? taken : -1;
    }
  }
  return taken;
}

int writeText(const Descriptor& output, std::string_view text) {
  const BrokenPipeGuard guard;
  const std::array pieces{text};
  const std::int64_t taken = writePieces(output.number(), pieces, kPatience);
  return taken == static_cast<std::int64_t>(text.size()) ? 0 : errno;
}

int writeTextTo(const std::string& path, std::string_view text) {
  const Descriptor output = openTextOutput(path);
  return output ? writeText(output, text) : errno;
}

}  // namespace marrow
