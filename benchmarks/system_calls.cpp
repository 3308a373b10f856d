#include "benchmarks/system_calls.h"

#include <csignal>
#include <stdexcept>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace marrow {

namespace {

// ptrace(2): PTRACE_O_TRACESYSGOOD marks the stops at system calls.
constexpr int kSystemCallStop = SIGTRAP | 0x80;
constexpr long kOptions = PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL | PTRACE_O_TRACECLONE;

// The stop that the child asks for is where the count begins; its end is where it ends.
[[noreturn]] void runTraced(const std::function<void()>& work) {
  ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
  ::raise(SIGSTOP);
  try {
    work();
    ::_exit(0);
  } catch (const std::exception&) {
    ::_exit(1);
  }
}

class Count {
 public:
  explicit Count(pid_t child) : _child(child) {}

  // False when the child failed.
  bool follow() {
    int status = 0;
    ::waitpid(_child, &status, 0);
    ::ptrace(PTRACE_SETOPTIONS, _child, nullptr, kOptions);
    resume(_child, 0);
    while (true) {
      const pid_t thread = ::waitpid(-1, &status, __WALL);
      if (thread == _child && !WIFSTOPPED(status)) {
        return WIFEXITED(status) && WEXITSTATUS(status) == 0;
      }
      if (thread > 0 && WIFSTOPPED(status)) {
        stopped(thread, status);
      }
    }
  }

  std::map<std::uint64_t, std::uint64_t> calls;

 private:
  void stopped(pid_t thread, int status) {
    const int number = WSTOPSIG(status);
    if (number == kSystemCallStop) {
      enteredOrLeft(thread);
    }
    const bool isOwn = number == kSystemCallStop || number == SIGTRAP || number == SIGSTOP;
    resume(thread, isOwn ? 0 : number);
  }

  void enteredOrLeft(pid_t thread) {
    __ptrace_syscall_info info{};
    ::ptrace(PTRACE_GET_SYSCALL_INFO, thread, sizeof info, &info);
    if (info.op == PTRACE_SYSCALL_INFO_ENTRY) {
      ++calls[info.entry.nr];
    }
  }

  static void resume(pid_t thread, int signal) {
    ::ptrace(PTRACE_SYSCALL, thread, nullptr, static_cast<long>(signal));
  }

  pid_t _child;
};

}  // namespace

std::map<std::uint64_t, std::uint64_t> systemCallsOf(const std::function<void()>& work) {
  const pid_t child = ::fork();
  if (child == 0) {
    runTraced(work);
  }
  Count count(child);
  if (child < 0 || !count.follow()) {
    throw std::runtime_error("What was to be counted failed, or cannot be traced.");
  }
  count.calls.erase(SYS_exit_group);
  return count.calls;
}

}  // namespace marrow
