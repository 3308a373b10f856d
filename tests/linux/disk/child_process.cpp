#include "tests/linux/disk/child_process.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace marrow {

ChildProcess::ChildProcess(const std::function<bool()>& prepare) {
  std::array<int, 2> ready{};
  EXPECT_EQ(::pipe2(ready.data(), O_CLOEXEC), 0);
  _process = ::fork();
  if (_process == 0) {
    // Nothing is left behind when the test program is killed.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const char answer = prepare() ? 'y' : 'n';
    ::close(ready[0]);
    if (::write(ready[1], &answer, 1) != 1) {
      ::_exit(1);
    }
    ::close(ready[1]);
    while (true) {
      ::pause();
    }
  }
  ::close(ready[1]);
  char answer = 0;
  EXPECT_EQ(::read(ready[0], &answer, 1), 1);
  EXPECT_EQ(answer, 'y') << "the child process could not take hold";
  ::close(ready[0]);
}

ChildProcess::~ChildProcess() { kill(); }

int ChildProcess::endingSignal() {
  int status = 0;
  if (_signal == 0 && ::waitpid(_process, &status, WNOHANG) == _process && WIFSIGNALED(status)) {
    _signal = WTERMSIG(status);
  }
  return _signal;
}

void ChildProcess::kill() {
  if (endingSignal() == 0) {
    ::kill(_process, SIGKILL);
    ::waitpid(_process, nullptr, 0);
    _signal = SIGKILL;
  }
}

}  // namespace marrow
