// The daemon's own process. Any thread.
#pragma once

#include <string>

namespace marrow {

class Process {
 public:
  virtual ~Process() = default;

  // Declares the process a daemon to the machine's service management. Never fails.
  virtual void setIsDaemon(bool isDaemon) = 0;

  // Ends the process with this status (the low eight bits count, exit(3)). Runs no destructors:
  // other threads may still be at work.
  [[noreturn]] virtual void exit(int status) = 0;

  // Ends the process by a failed assertion: reports the text as a fault, then aborts (abort(3)).
  [[noreturn]] virtual void failAssertion(const std::string& text) = 0;
};

}  // namespace marrow
