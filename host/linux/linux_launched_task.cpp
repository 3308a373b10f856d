#include "host/linux/linux_launched_task.h"

#include "host/linux/child_watch.h"
#include "host/linux/retry.h"
#include "host/linux/text_cut.h"
#include "host/text_format.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace marrow {

namespace {

constexpr std::size_t kReadAtOnce = std::size_t{64} << 10U;

// A longer text does not grow step by step, which would take as much again for the step before.
constexpr std::size_t kLongText = std::size_t{1} << 20U;

// For what is said of the text at its end, and before it where it is logged.
constexpr std::size_t kRoomAround = 1024;

// Output as it comes, up to a limit.
class CappedText {
 public:
  explicit CappedText(std::size_t limit) : _limit(limit) {}

  // One byte beyond the limit is kept, to tell whether it cuts a character in two.
  void append(std::string_view output) {
    if (_text.size() + output.size() > kLongText) {
      _text.reserve(_limit + kRoomAround);
    }
    _text += output.substr(0, _limit + 1 - _text.size());
    _total += output.size();
  }

  std::string take() {
    if (_total > _limit) {
      _text.resize(cutText(_text, _limit).size());
      _text += formatText("\n[%lu more bytes of output were dropped]", _total - _text.size());
    }
    return std::move(_text);
  }

 private:
  const std::size_t _limit;
  std::string _text;
  std::uint64_t _total = 0;  // bytes
};

ErrorRef readError(int number) {
  return makePOSIXError(number, {{kLocalizedDescriptionKey,
                                  "Cannot read the program's output: " + errorNumberText(number)}});
}

}  // namespace

LinuxLaunchedTask::LinuxLaunchedTask(Child child, Descriptor output, std::size_t outputLimit,
                                     WaitWatch& waits)
    : _child(std::move(child)),
      _output(std::move(output)),
      _outputLimit(outputLimit),
      _waits(waits) {}

std::string LinuxLaunchedTask::awaited() const {
  return awaitedOfChild(_child.process, _child.name, _output.number(), _child.processes);
}

// Collects the child if it happens to have ended.
LinuxLaunchedTask::~LinuxLaunchedTask() {
  if (!_ended) {
    ::waitpid(_child.process, nullptr, WNOHANG);
  }
}

std::optional<std::string> LinuxLaunchedTask::readOutputToEnd(ErrorSlot error) {
  const WaitWatch::Wait wait(_waits, [this] { return awaited(); });
  CappedText text(_outputLimit);
  std::string buffer(kReadAtOnce, '\0');
  for (;;) {
    const ssize_t count =
        retryInterrupted([&] { return ::read(_output.number(), buffer.data(), buffer.size()); });
    if (count == 0) {
      return text.take();
    }
    if (count < 0) {
      storeError(error, readError(errno));
      return std::nullopt;
    }
    text.append(std::string_view{buffer}.substr(0, static_cast<std::size_t>(count)));
  }
}

void LinuxLaunchedTask::waitUntilExit() {
  const WaitWatch::Wait wait(_waits, [this] { return awaited(); });
  int status = 0;
  const auto collect = [&] { return ::waitpid(_child.process, &status, 0); };
  if (!_ended && retryInterrupted(collect) == _child.process) {
    _ended = true;
    _status = WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status);
  }
}

}  // namespace marrow
