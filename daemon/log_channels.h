// The daemon's two log channels, both of subsystem "com.corvane.Marrow". They belong to the whole
// process: each is created by its first user, on whatever thread that is, and lives until the
// process ends. Everything here leaves errno as it was, so that a caller may log a failed system
// call first and look at errno afterwards.
#pragma once

#include "host/log.h"
#include "host/text_format.h"

#include <cerrno>
#include <cstddef>
#include <type_traits>
#include <utility>

namespace marrow {

inline constexpr char kLogSubsystem[] = "com.corvane.Marrow";

// Where the channels are created. Call it before the first message and while nobody logs: channels
// that exist already are dropped. The service outlives the daemon's last message; null for none,
// and then messages go nowhere.
void useLogService(LogService* service);

// The empty category: everything but the engine and its operations. Any thread.
LogHandle& generalLogChannel();

// The category "Operations": the engine and its operations. Any thread.
LogHandle& operationsLogChannel();

// Puts errno back to what it was when the guard was made.
class ErrnoGuard {
 public:
  ErrnoGuard() : _saved(errno) {}
  ~ErrnoGuard() { errno = _saved; }
  ErrnoGuard(const ErrnoGuard&) = delete;
  ErrnoGuard& operator=(const ErrnoGuard&) = delete;

 private:
  const int _saved;
};

// The format of a message, and the place in the program that logs it.
template <typename... Arguments>
struct LogFormat {
  template <std::size_t Size>
  consteval LogFormat(const char (&text)[Size],  // NOLINT(google-explicit-constructor)
                      SourcePlace from = SourcePlace::current())
      : format(text), place(from) {}

  FormatString<Arguments...> format;
  SourcePlace place;
};

// Logs one message; the format is checked when the program is compiled (host/text_format.h). Any
// thread.
template <typename... Arguments>
void log(LogHandle& channel, LogLevel level, LogEvent event,
         LogFormat<std::type_identity_t<Arguments>...> format, Arguments&&... arguments) {
  const ErrnoGuard guard;
  channel.log(level, formatText<Arguments...>(format.format, std::forward<Arguments>(arguments)...),
              event, format.place);
}

template <typename... Arguments>
void log(LogHandle& channel, LogLevel level, LogFormat<std::type_identity_t<Arguments>...> format,
         Arguments&&... arguments) {
  log<Arguments...>(channel, level, LogEvent::none, format, std::forward<Arguments>(arguments)...);
}

}  // namespace marrow
