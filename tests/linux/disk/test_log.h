// A log channel that keeps what is logged.
#pragma once

#include "host/log.h"

#include <algorithm>
#include <cstddef>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace marrow {

class TestLog : public LogHandle {
 public:
  bool has(const std::string& part) const { return count(part) != 0; }

  std::size_t count(const std::string& part) const { return all(part).size(); }

  // Of this level alone.
  std::size_t count(LogLevel level, const std::string& part) const {
    const std::lock_guard lock(_mutex);
    return static_cast<std::size_t>(
        std::count_if(_records.begin(), _records.end(), [&](const auto& record) {
          return record.first == level && record.second.find(part) != std::string::npos;
        }));
  }

  // The texts that contain it, in their order.
  std::vector<std::string> all(const std::string& part) const {
    const std::lock_guard lock(_mutex);
    std::vector<std::string> texts;
    for (const auto& [level, text] : _records) {
      if (text.find(part) != std::string::npos) {
        texts.push_back(text);
      }
    }
    return texts;
  }

 private:
  void write(LogLevel level, std::string text, const LogOrigin& /*origin*/) override {
    const std::lock_guard lock(_mutex);
    _records.emplace_back(level, text);
  }

  mutable std::mutex _mutex;
  std::vector<std::pair<LogLevel, std::string>> _records;
};

}  // namespace marrow
