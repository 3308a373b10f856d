#include "sweep/daemon_trace.h"

#include "rehearsal/problem.h"
#include "sweep/leftovers.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <string>
#include <sys/personality.h>
#include <sys/ptrace.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <thread>

namespace marrow::sweep {
namespace {

using rehearsal::checked;
using rehearsal::Problem;

using Clock = std::chrono::steady_clock;

constexpr auto kStartPatience = std::chrono::seconds(20);
constexpr auto kPause = std::chrono::microseconds(200);
constexpr long kOptions = PTRACE_O_EXITKILL | PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE |
                          PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK | PTRACE_O_TRACEEXEC |
                          PTRACE_O_TRACEEXIT | PTRACE_O_TRACESECCOMP;
constexpr int kCallStop = SIGTRAP | 0x80;

std::string processFile(pid_t process, const std::string& name) {
  return readKernelFile("/proc/" + std::to_string(process) + '/' + name).value_or("");
}

// The number behind a name of proc_pid_status(5), 0 when there is none.
std::uint64_t statusNumber(pid_t process, const std::string& name) {
  const std::string text = processFile(process, "status");
  const std::size_t place = text.find('\n' + name + ':');
  return place == std::string::npos ? 0 : std::stoull(text.substr(place + name.size() + 2));
}

bool isStopped(pid_t process) {
  return processFile(process, "status").find("\nState:\tT") != std::string::npos;
}

template <typename Condition>
void waitUntil(Condition condition, const char* what) {
  const auto end = Clock::now() + kStartPatience;
  while (!condition()) {
    if (Clock::now() > end) {
      throw Problem(std::string("The tracer waits in vain for ") + what + '.');
    }
    std::this_thread::sleep_for(kPause);
  }
}

// While one exists, a blocking call of this thread is interrupted now and then (EINTR).
class Ticks {
 public:
  Ticks() {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    ::sigaction(SIGALRM, &action, &_before);
    const timeval period{.tv_sec = 0, .tv_usec = 250000};
    const itimerval timer{.it_interval = period, .it_value = period};
    ::setitimer(ITIMER_REAL, &timer, nullptr);
  }
  ~Ticks() {
    const itimerval none{};
    ::setitimer(ITIMER_REAL, &none, nullptr);
    ::sigaction(SIGALRM, &_before, nullptr);
  }
  Ticks(const Ticks&) = delete;
  Ticks& operator=(const Ticks&) = delete;

 private:
  struct sigaction _before {};
};

template <typename Arguments>
void enter(SystemCall& call, pid_t thread, std::uint64_t number, const Arguments& arguments) {
  call.number = number;
  call.thread = thread;
  std::copy(std::begin(arguments), std::end(arguments), call.arguments.begin());
}

// A child or traced thread that has news, which it keeps; 0 when the wait was interrupted.
pid_t nextWithNews() {
  siginfo_t news{};
  const int status = ::waitid(P_ALL, 0, &news, WEXITED | WSTOPPED | WNOWAIT | __WALL);
  if (status != 0 && errno != EINTR) {
    rehearsal::failWithErrno("wait for the daemon");
  }
  return status == 0 ? news.si_pid : 0;
}

}  // namespace

void DaemonTrace::waitForTracer(Calls calls) {
  // Each start has the same addresses.
  ::personality(ADDR_NO_RANDOMIZE);
  ::raise(SIGSTOP);
  if (calls.kind == Calls::Kind::kChanges) {
    showOnlyChanges();
  } else if (calls.kind == Calls::Kind::kNumber) {
    showOnly(calls.number);
  }
}

DaemonTrace::DaemonTrace(const rehearsal::Machine& machine, Calls calls, AtStop atStop)
    : _machine(machine), _calls(calls), _atStop(std::move(atStop)) {
  takeDaemon();
}

void DaemonTrace::takeDaemon() {
  const std::string first = std::to_string(_machine.process());
  waitUntil(
      [&] {
        const std::string child = processFile(_machine.process(), "task/" + first + "/children");
        _daemon = child.empty() ? -1 : std::stoi(child);
        return _daemon > 0 && isStopped(_daemon);
      },
      "the daemon's process");
  checked(::ptrace(PTRACE_SEIZE, _daemon, nullptr, kOptions), "trace the daemon");
  ::kill(_daemon, SIGCONT);
}

TraceEnd DaemonTrace::run(std::chrono::seconds patience) {
  const Ticks ticks;
  const auto end = Clock::now() + patience;
  while (true) {
    const pid_t thread = nextWithNews();
    if (thread == _machine.process()) {
      return _end;
    }
    int status = 0;
    if (thread != 0 && ::waitpid(thread, &status, __WALL) == thread && WIFSTOPPED(status)) {
      takeEvent(thread, status);
    }
    if (Clock::now() > end && !_end.hung) {
      _end.hung = true;
      _machine.kill();
    }
  }
}

void DaemonTrace::takeEvent(pid_t thread, int status) {
  const int signal = WSTOPSIG(status);
  const int event = status >> 16;
  if (signal == kCallStop || event == PTRACE_EVENT_SECCOMP) {
    takeCall(thread);
    return;
  }
  if (event == PTRACE_EVENT_EXEC) {
    _isDaemon = true;
  }
  if (event == PTRACE_EVENT_EXIT) {
    measure(thread);
    _isOwn.erase(thread);
    _faulty.erase(thread);
  }
  // That the daemon's process stopped to be taken is over.
  const bool isNews = event == 0 && signal != SIGSTOP && signal != SIGCONT && signal != SIGTRAP;
  goOn(thread, isNews ? signal : 0, false);
}

void DaemonTrace::takeCall(pid_t thread) {
  __ptrace_syscall_info info{};
  const bool known = ::ptrace(PTRACE_GET_SYSCALL_INFO, thread, sizeof info, &info) > 0;
  SystemCall& call = _entered[thread];
  call.atEntry = known && info.op != PTRACE_SYSCALL_INFO_EXIT;
  if (known && info.op == PTRACE_SYSCALL_INFO_ENTRY) {
    enter(call, thread, info.entry.nr, info.entry.args);
  } else if (known && info.op == PTRACE_SYSCALL_INFO_SECCOMP) {
    enter(call, thread, info.seccomp.nr, info.seccomp.args);
  } else if (known) {
    call.result = info.exit.rval;
  }
  if (known && !call.atEntry) {
    finishFault(thread);
  }
  if (known && _isDaemon && !_end.killed) {
    call.isOwn = isOwn(thread);
    obey(_atStop(call), call);
  }
  goOn(thread, 0, call.atEntry);
}

void DaemonTrace::obey(const Order& order, const SystemCall& call) {
  if (const auto* fault = std::get_if<CallFault>(&order)) {
    _faulty.insert_or_assign(call.thread, FaultyCall(call, *fault));
  } else if (std::get<bool>(order)) {
    measure(_daemon);
    _end.killed = true;
    ::kill(_daemon, SIGKILL);
  }
}

void DaemonTrace::finishFault(pid_t thread) {
  const auto found = _faulty.find(thread);
  if (found != _faulty.end()) {
    _end.faults += found->second.finish() ? 1 : 0;
    _faulty.erase(found);
  }
}

bool DaemonTrace::isOwn(pid_t thread) {
  const auto known = _isOwn.find(thread);
  if (known != _isOwn.end()) {
    return known->second;
  }
  const auto place = "/proc/" + std::to_string(_daemon) + "/task/" + std::to_string(thread);
  std::error_code none;
  return _isOwn[thread] = std::filesystem::exists(place, none);
}

void DaemonTrace::measure(pid_t thread) {
  if (thread == _daemon ||
      processFile(thread, "status").find("\nTgid:\t" + std::to_string(_daemon) + '\n') !=
          std::string::npos) {
    _end.peakMemory = std::max(_end.peakMemory, statusNumber(thread, "VmHWM"));
  }
}

// Where the kernel shows some calls only, it is asked for the exits of these. A thread that was
// killed meanwhile answers ESRCH.
void DaemonTrace::goOn(pid_t thread, int signal, bool inCall) const {
  const bool everyCall = _atStop && _calls.kind == Calls::Kind::kAll;
  ::ptrace(everyCall || (_atStop && inCall) ? PTRACE_SYSCALL : PTRACE_CONT, thread, nullptr,
           signal);
}

}  // namespace marrow::sweep
