// A log channel that drops everything.
#pragma once

#include "host/log.h"

#include <string>

namespace marrow {

class NoLog final : public LogHandle {
 public:
  void log(LogLevel /*level*/, const std::string& /*text*/) override {}
};

}  // namespace marrow
