// A log channel that keeps what is logged.
#pragma once

#include "host/log.h"

#include <algorithm>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace marrow {

class TestLog : public LogHandle {
 public:
  bool has(const std::string& part) const {
    const std::lock_guard lock(_mutex);
    return std::any_of(_records.begin(), _records.end(), [&part](const auto& record) {
      return record.second.find(part) != std::string::npos;
    });
  }

 private:
  void write(LogLevel level, const std::string& text, const LogOrigin& /*origin*/) override {
    const std::lock_guard lock(_mutex);
    _records.emplace_back(level, text);
  }

  mutable std::mutex _mutex;
  std::vector<std::pair<LogLevel, std::string>> _records;
};

}  // namespace marrow
