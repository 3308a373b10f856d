#include "daemon/console_mirror.h"

#include "daemon/log_channels.h"
#include "host/unicode.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

namespace marrow {

namespace {

constexpr char kConsolePath[] = "/dev/console";
constexpr int kNotOpen = -1;

class ConsoleMirror {
 public:
  ConsoleMirror(LogService& logService, Files& files) : _logService(logService), _files(files) {}

  void setPreviousHook(LogHook hook) { _previousHook = std::move(hook); }

  void receive(LogLevel level, const LogMessage& message) {
    if (_previousHook) {
      _previousHook(level, message);
    }
    if (message.subsystem != kLogSubsystem) {
      return;
    }
    if (const auto text = _logService.render(message)) {
      show(*text);
    }
  }

 private:
  // A text ends at its first zero byte, which no console shows. One write, so that lines of several
  // threads do not mix. It counts UTF-16 code units: a line with other than ASCII characters loses
  // as many bytes at its end, the line feed first, as its UTF-8 form is longer.
  void show(std::string_view text) {
    const int console = consoleDescriptor();
    text = text.substr(0, text.find('\0'));
    const std::size_t units = utf16Length(text);
    const std::array<std::string_view, 4> line = {kLogSubsystem, ": ", text.substr(0, units + 1),
                                                  units == text.size() ? "\n" : ""};
    _files.write(console, line);
    _files.sync(console);
  }

  int consoleDescriptor() {
    const int descriptor = _descriptor;
    return descriptor == kNotOpen ? openConsole() : descriptor;
  }

  int openConsole() {
    const int opened = _files.open(
        kConsolePath, OpenFlags::writeOnly | OpenFlags::append | OpenFlags::noControllingTerminal);
    if (opened == kNotOpen) {
      std::perror("Error opening /dev/console");
      return kNotOpen;
    }
    return keep(opened);
  }

  // Several threads may have opened the console for their first line; one descriptor stays.
  int keep(int opened) {
    int stored = kNotOpen;
    if (_descriptor.compare_exchange_strong(stored, opened)) {
      return opened;
    }
    _files.close(opened);
    return stored;
  }

  LogService& _logService;
  Files& _files;
  LogHook _previousHook;
  std::atomic<int> _descriptor = kNotOpen;  // shared by every thread that logs
};

}  // namespace

void installConsoleMirror(LogService& logService, Files& files) {
  const auto mirror = std::make_shared<ConsoleMirror>(logService, files);
  mirror->setPreviousHook(logService.setHook(
      LogLevel::info,
      [mirror](LogLevel level, const LogMessage& message) { mirror->receive(level, message); }));
}

}  // namespace marrow
