#include "rehearsal/machine.h"

#include "rehearsal/files.h"
#include "rehearsal/first_process.h"
#include "rehearsal/power_cut.h"
#include "rehearsal/problem.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <linux/sched.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace marrow::rehearsal {
namespace {

constexpr std::uint64_t kNamespaces =
    CLONE_NEWPID | CLONE_NEWNS | CLONE_NEWUTS | CLONE_NEWNET | CLONE_NEWIPC;

// As fork(2) does, but into new namespaces and with a descriptor of the child (clone3(2)).
pid_t forkIntoNamespaces(int& childDescriptor) {
  clone_args arguments{};
  arguments.flags = kNamespaces | CLONE_PIDFD;
  arguments.pidfd = reinterpret_cast<std::uintptr_t>(&childDescriptor);
  arguments.exit_signal = SIGCHLD;
  return checked(static_cast<pid_t>(::syscall(SYS_clone3, &arguments, sizeof arguments)),
                 "make namespaces for a machine");
}

}  // namespace

std::string MachineEnd::describe() const {
  switch (kind) {
    case Kind::kReboot:
      return "reboot";
    case Kind::kHalt:
      return "halt";
    case Kind::kDied:
      return "died";
    case Kind::kDaemonEnded:
      break;
  }
  return "no reboot, marrowd ended with status " + std::to_string(status);
}

Machine::Machine(const MachineSettings& settings) {
  std::array<int, 2> pipe{};
  checked(::pipe2(pipe.data(), O_CLOEXEC), "make a pipe");
  const Descriptor reader(pipe[0]);
  Descriptor writer(pipe[1]);
  int child = -1;
  _process = forkIntoNamespaces(child);
  if (_process == 0) {
    runFirstProcess(settings, writer.number());
  }
  _first = Descriptor(child);
  writer.reset();
  const std::string trouble = readAll(reader.number());
  if (!trouble.empty()) {
    wait();
    throw Problem("The machine cannot be put together. " + trouble);
  }
}

Machine::~Machine() {
  if (_process > 0) {
    kill();
    wait();
  }
}

void Machine::kill() const { ::kill(_process, SIGKILL); }

bool Machine::cutPower(const std::string& diskName) const {
  const bool forgotten = forgetUnwritten(_process, diskName);
  kill();
  return forgotten;
}

MachineEnd Machine::wait() {
  int status = 0;
  while (::waitpid(_process, &status, 0) < 0 && errno == EINTR) {
  }
  _process = -1;
  if (WIFEXITED(status)) {
    return {MachineEnd::Kind::kDaemonEnded, WEXITSTATUS(status)};
  }
  const int signal = WTERMSIG(status);
  if (signal == SIGHUP) {
    return {MachineEnd::Kind::kReboot};
  }
  return {signal == SIGINT ? MachineEnd::Kind::kHalt : MachineEnd::Kind::kDied};
}

}  // namespace marrow::rehearsal
