// Keeps SIGPIPE from the calling thread while it lives: a pipe or FIFO whose reader has gone then
// answers a write with EPIPE alone, instead of ending the process (pipe(7), signal(7)).
#pragma once

#include <csignal>
#include <ctime>

namespace marrow {

class BrokenPipeGuard {
 public:
  BrokenPipeGuard() {
    sigset_t pending{};
    sigpending(&pending);
    _wasPending = sigismember(&pending, SIGPIPE) == 1;
    sigemptyset(&_brokenPipe);
    sigaddset(&_brokenPipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &_brokenPipe, &_before);
  }
  BrokenPipeGuard(const BrokenPipeGuard&) = delete;
  BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;

  // Takes back the signal that a write has raised meanwhile. May change errno.
  ~BrokenPipeGuard() {
    if (!_wasPending) {
      const timespec atOnce{};
      sigtimedwait(&_brokenPipe, nullptr, &atOnce);
    }
    pthread_sigmask(SIG_SETMASK, &_before, nullptr);
  }

 private:
  sigset_t _brokenPipe{};
  sigset_t _before{};
  bool _wasPending = false;
};

}  // namespace marrow
