// A child process that holds something until it is ended.
#pragma once

#include <functional>
#include <sys/types.h>

namespace marrow {

class ChildProcess {
 public:
  // Forks; the child runs `prepare` (which may make system calls only) and then waits for a signal.
  // Returns when it has prepared itself. `prepare` returning false fails the test.
  explicit ChildProcess(const std::function<bool()>& prepare);
  // Kills it where it still runs.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  pid_t process() const { return _process; }

  // The number of the signal that ended it; 0 while it runs.
  int endingSignal();

  void kill();

 private:
  pid_t _process = 0;
  int _signal = 0;
};

}  // namespace marrow
