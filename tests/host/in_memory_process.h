// The daemon's own process. Its ends throw RunEnded.
#pragma once

#include "host/log.h"
#include "host/process.h"
#include "tests/host/calls.h"
#include "tests/host/run_ended.h"

namespace marrow {

class InMemoryProcess : public Process {
 public:
  InMemoryProcess(Calls& calls, LogService& log) : _calls(calls), _log(log) {}

  void setIsDaemon(bool isDaemon) override;
  [[noreturn]] void exit(int status) override;
  [[noreturn]] void failAssertion(const std::string& text) override;

  bool isDaemon() const { return _isDaemon; }

 private:
  Calls& _calls;
  LogService& _log;
  bool _isDaemon = false;
};

}  // namespace marrow
