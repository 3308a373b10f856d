// The machine's structured log: channels of a subsystem and a category, five levels, and one
// process-wide hook that sees each message as it is logged. Any thread may call any of it.
#pragma once

#include "host/log_event.h"
#include "host/source_place.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace marrow {

// The numbers name the levels; they are not in the order of severity.
enum class LogLevel : std::uint8_t { standard = 0, info = 1, debug = 2, error = 16, fault = 17 };

// From 0 (debug) to 4 (fault): debug, info, default, error, fault.
constexpr int severity(LogLevel level) {
  switch (level) {
    case LogLevel::debug:
      return 0;
    case LogLevel::info:
      return 1;
    case LogLevel::standard:
      return 2;
    case LogLevel::error:
      return 3;
    case LogLevel::fault:
      return 4;
  }
  return 4;
}

// What is known of a message besides its text.
struct LogOrigin {
  LogEvent event = LogEvent::none;
  SourcePlace place = {};
};

struct LogMessage {
  LogLevel level = LogLevel::standard;
  std::optional<std::string> subsystem;  // absent for messages of the machine itself
  std::string category;
  std::string text;
  LogOrigin origin = {};
};

// A channel.
class LogHandle {
 public:
  virtual ~LogHandle() = default;

  // Never fails towards the caller, never throws, and leaves errno as it was. The place is that of
  // the call where the caller does not name another.
  void log(LogLevel level, std::string text, LogEvent event = LogEvent::none,
           SourcePlace place = SourcePlace::current()) {
    write(level, std::move(text), {event, place});
  }

 private:
  // As `log`.
  virtual void write(LogLevel level, std::string text, const LogOrigin& origin) = 0;
};

// Called on the thread that logs, after the message reached the machine's log. It must not log.
using LogHook = std::function<void(LogLevel, const LogMessage&)>;

class LogService {
 public:
  virtual ~LogService() = default;

  // Two handles of the same subsystem and category are the same channel. May change errno.
  virtual std::unique_ptr<LogHandle> createHandle(const std::string& subsystem,
                                                  const std::string& category) = 0;

  // Installs the hook for messages at least as severe as `minimum` and returns the one that it
  // takes the place of (empty when there was none), which is no longer called by the service.
  virtual LogHook setHook(LogLevel minimum, LogHook hook) = 0;

  // The message as plain text, which lives as long as the message; absent when it cannot be
  // rendered.
  virtual std::optional<std::string_view> render(const LogMessage& message) = 0;
};

}  // namespace marrow
