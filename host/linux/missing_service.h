// A service that the machine does not offer: said once in the log, however often it is asked for.
#pragma once

#include "host/log.h"

#include <atomic>
#include <string>

namespace marrow {

// Any thread. The log outlives it.
class MissingService {
 public:
  explicit MissingService(LogHandle& log, LogLevel level = LogLevel::standard)
      : _log(log), _level(level) {}

  // Logs the text at that level, the first time only.
  void report(const std::string& text) {
    if (!_reported.exchange(true)) {
      _log.log(_level, text);
    }
  }

 private:
  LogHandle& _log;
  const LogLevel _level;
  std::atomic<bool> _reported = false;
};

}  // namespace marrow
