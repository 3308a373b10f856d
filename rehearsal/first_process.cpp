#include "rehearsal/first_process.h"

#include "rehearsal/base_system.h"
#include "rehearsal/files.h"
#include "rehearsal/interruption.h"
#include "rehearsal/problem.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <fcntl.h>
#include <linux/capability.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace marrow::rehearsal {
namespace {

constexpr int kTroubleDescriptor = 3;
constexpr int kSignalBase = 128;
constexpr int kNotStarted = 127;

// What root may do to the real machine past any namespace, and what marrowd has no business with.
constexpr std::array kNotForTheMachine{CAP_SYS_MODULE, CAP_SYS_RAWIO, CAP_SYS_TIME, CAP_SYSLOG,
                                       CAP_MKNOD};

// Only what the machine may know stays open: no loop device, no terminal of the person.
void keepOnly(int trouble, const std::filesystem::path& output) {
  const Descriptor nothing = openFile("/dev/null", O_RDONLY);
  const Descriptor written = openFile(output, O_WRONLY | O_CREAT | O_APPEND, 0644);
  ::dup2(nothing.number(), STDIN_FILENO);
  ::dup2(written.number(), STDOUT_FILENO);
  ::dup2(written.number(), STDERR_FILENO);
  if (trouble != kTroubleDescriptor) {
    ::dup2(trouble, kTroubleDescriptor);
  }
  ::fcntl(kTroubleDescriptor, F_SETFD, FD_CLOEXEC);
  ::close_range(kTroubleDescriptor + 1, ~0U, 0);
}

// Every other call is allowed; reboot(2) answers EPERM.
void refuseReboot() {
  std::array<sock_filter, 4> program{
      sock_filter BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      sock_filter BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_reboot, 0, 1),
      sock_filter BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
      sock_filter BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
  const sock_fprog filter{.len = program.size(), .filter = program.data()};
  checked(::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter), "refuse reboot(2)");
}

void giveUpCapabilities() {
  for (const int capability : kNotForTheMachine) {
    checked(::prctl(PR_CAPBSET_DROP, capability, 0, 0, 0), "give up a capability");
  }
}

[[noreturn]] void becomeDaemon(const std::vector<std::string>& more) {
  const std::string path = std::string("/") + machine_path::kDaemon;
  std::array<char*, 2> arguments{const_cast<char*>(path.c_str()), nullptr};
  std::vector<char*> environment{const_cast<char*>("PATH=/usr/sbin:/usr/bin:/sbin:/bin")};
  for (const std::string& variable : more) {
    environment.push_back(const_cast<char*>(variable.c_str()));
  }
  environment.push_back(nullptr);
  ::execve(path.c_str(), arguments.data(), environment.data());
  std::perror("marrowd");
  ::_exit(kNotStarted);
}

// The first process also buries what its children left behind.
int waitForDaemon(pid_t daemon) {
  while (true) {
    int status = 0;
    if (::wait(&status) == daemon) {
      return WIFSIGNALED(status) ? kSignalBase + WTERMSIG(status) : WEXITSTATUS(status);
    }
  }
}

// reboot(2) reaches the real machine when called outside a process namespace of one's own.
void requireOwnNamespace() {
  if (::getpid() != 1) {
    throw Problem("The machine did not get a process namespace of its own.");
  }
}

pid_t startDaemon(const MachineSettings& settings) {
  requireOwnNamespace();
  ::setsid();
  constexpr std::string_view kHostName = "rehearsal";
  checked(::sethostname(kHostName.data(), kHostName.size()), "name the machine");
  enterMachineView(settings.view);
  giveUpCapabilities();
  if (settings.refuseReboot) {
    refuseReboot();
  }
  Interruption::restoreSignals();
  return checked(::fork(), "start marrowd");
}

}  // namespace

void runFirstProcess(const MachineSettings& settings, int trouble) {
  try {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    keepOnly(trouble, settings.output);
    const pid_t daemon = startDaemon(settings);
    if (daemon == 0) {
      ::close(kTroubleDescriptor);
      if (settings.beforeDaemon) {
        settings.beforeDaemon();
      }
      becomeDaemon(settings.environment);
    }
    ::close(kTroubleDescriptor);
    ::_exit(waitForDaemon(daemon));
  } catch (const std::exception& problem) {
    writeAll(kTroubleDescriptor, problem.what());
    ::_exit(kNotStarted);
  }
}

}  // namespace marrow::rehearsal
