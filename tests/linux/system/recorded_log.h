// A log channel that keeps its texts.
#pragma once

#include "host/log.h"

#include <mutex>
#include <string>
#include <vector>

namespace marrow {

class RecordedLog final : public LogHandle {
 public:
  std::vector<std::string> texts() const {
    const std::lock_guard lock(_mutex);
    return _texts;
  }

 private:
  void write(LogLevel /*level*/, std::string text, const LogOrigin& /*origin*/) override {
    const std::lock_guard lock(_mutex);
    _texts.push_back(text);
  }

  mutable std::mutex _mutex;
  std::vector<std::string> _texts;
};

}  // namespace marrow
