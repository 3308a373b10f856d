// A log channel that keeps what is logged.
#pragma once

#include "host/log.h"

#include <string>
#include <utility>
#include <vector>

namespace marrow {

class RecordedLog final : public LogHandle {
 public:
  std::vector<std::string> texts() const {
    std::vector<std::string> texts;
    for (const auto& message : _messages) {
      texts.push_back(message.second);
    }
    return texts;
  }
  const std::vector<std::pair<LogLevel, std::string>>& messages() const { return _messages; }

 private:
  void write(LogLevel level, std::string text, const LogOrigin& /*origin*/) override {
    _messages.emplace_back(level, text);
  }

  std::vector<std::pair<LogLevel, std::string>> _messages;
};

}  // namespace marrow
