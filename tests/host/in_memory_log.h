// The machine's log: keeps every message. The text of a message is "rendered" as it is, unless the
// call "LogService.render" is made to fail. Any thread.
#pragma once

#include "host/log.h"
#include "tests/host/calls.h"

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace marrow {

class InMemoryLog : public LogService {
 public:
  explicit InMemoryLog(Calls& calls) : _calls(calls) {}

  // Changes errno, as the real one may.
  std::unique_ptr<LogHandle> createHandle(const std::string& subsystem,
                                          const std::string& category) override;
  LogHook setHook(LogLevel minimum, LogHook hook) override;
  std::optional<std::string_view> render(const LogMessage& message) override;

  // Logs as some other program would, or the machine itself (no subsystem).
  void log(const LogMessage& message);

  std::vector<LogMessage> messages() const;

  // The texts, of one level or of all, in order.
  std::vector<std::string> texts() const;
  std::vector<std::string> texts(LogLevel level) const;

  // The texts of one category ("" is the general channel's), in order.
  std::vector<std::string> textsOf(std::string_view category) const;

  // True when exactly this text was logged at this level in this category.
  bool has(LogLevel level, std::string_view category, std::string_view text) const;
  bool has(LogLevel level, std::string_view text) const;

  void clear();

  // Without telling the daemon, as the end of the process does.
  void dropHook();

 private:
  struct Hook {
    LogLevel minimum = LogLevel::standard;
    LogHook run;
  };
  Hook keep(const LogMessage& message);

  Calls& _calls;
  mutable std::mutex _mutex;
  std::vector<LogMessage> _messages;
  Hook _hook;
};

}  // namespace marrow
