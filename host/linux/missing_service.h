// A service that the machine does not offer: said once in the log, however often it is asked for.
#pragma once

#include "host/log.h"

#include <atomic>
#include <string>

namespace marrow {

// Any thread. The log outlives it.
class MissingService {
 public:
  explicit MissingService(LogHandle& log) : _log(log) {}

  // Logs the text at default level, the first time only.
  void report(const std::string& text) {
    if (!_reported.exchange(true)) {
      _log.log(LogLevel::standard, text);
    }
  }

 private:
  LogHandle& _log;
  std::atomic<bool> _reported = false;
};

}  // namespace marrow
