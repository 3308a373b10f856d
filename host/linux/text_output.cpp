#include "host/linux/text_output.h"

#include "host/linux/broken_pipe_guard.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace marrow {

namespace {

using OutputClock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds kPatience{1000};

// False when the deadline has passed.
bool waitForReader(const Descriptor& output, OutputClock::time_point deadline) {
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(deadline - OutputClock::now()).count();
  if (left <= 0) {
    return false;
  }
  pollfd waiting{output.number(), POLLOUT, 0};
  ::poll(&waiting, 1, static_cast<int>(left));
  return true;
}

}  // namespace

Descriptor openTextOutput(const std::string& path) {
  return Descriptor(::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
}

int writeText(const Descriptor& output, std::string_view text) {
  const BrokenPipeGuard guard;
  const auto deadline = OutputClock::now() + kPatience;
  while (!text.empty()) {
    const ssize_t count = ::write(output.number(), text.data(), text.size());
    if (count >= 0) {
      text.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno == EAGAIN) {
      if (!waitForReader(output, deadline)) {
        return EAGAIN;
      }
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

int writeTextTo(const std::string& path, std::string_view text) {
  const Descriptor output = openTextOutput(path);
  return output ? writeText(output, text) : errno;
}

}  // namespace marrow
