// A log channel that drops everything.
#pragma once

#include "host/log.h"

#include <string>

namespace marrow {

class NoLog final : public LogHandle {
 private:
  void write(LogLevel /*level*/, std::string /*text*/, const LogOrigin& /*origin*/) override {}
};

}  // namespace marrow
