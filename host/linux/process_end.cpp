#include "host/linux/process_end.h"

#include "host/linux/descriptor.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

namespace marrow {

namespace {

// Without them the machine would lose events or the account of what happened. udevadm is the
// udev daemon as well, under one of its names.
constexpr std::array<std::string_view, 4> kProtectedPrograms = {"systemd-udevd", "udevadm", "udevd",
                                                                "systemd-journald"};

using EndClock = std::chrono::steady_clock;

// pidfd_open(2): readable when the process has ended, and never another process's.
Descriptor openProcess(pid_t process) {
  return Descriptor(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
}

void send(const Descriptor& process, int number) {
  ::syscall(SYS_pidfd_send_signal, process.number(), number, nullptr, 0);
}

// The name of the file that a process runs, also when an update has replaced it since.
std::string programOf(const std::string& process) {
  constexpr std::string_view kReplaced = " (deleted)";
  std::error_code gone;
  auto name = std::filesystem::read_symlink(process + "/exe", gone).filename().native();
  if (name.ends_with(kReplaced)) {
    name.resize(name.size() - kReplaced.size());
  }
  return name;
}

bool waitFor(const Descriptor& process, EndClock::time_point limit) {
  int ready = 0;
  do {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(limit - EndClock::now()).count();
    pollfd event{process.number(), POLLIN, 0};
    ready = ::poll(&event, 1, left > 0 ? static_cast<int>(left) : 0);
  } while (ready < 0 && errno == EINTR);
  return ready > 0;
}

}  // namespace

ProcessEnd::ProcessEnd(std::string procfs, LogHandle& log)
    : _procfs(std::move(procfs)), _log(log) {}

void ProcessEnd::end(const std::function<std::vector<HolderProcess>()>& find) const {
  signal(find(), SIGTERM, kTermPatience);
  signal(find(), SIGKILL, kKillPatience);
}

void ProcessEnd::signal(const std::vector<HolderProcess>& processes, int number,
                        std::chrono::seconds patience) const {
  std::vector<Descriptor> ending;
  for (const auto& holder : processes) {
    Descriptor process = isProtected(holder.process) ? Descriptor() : openProcess(holder.process);
    if (process) {
      _log.log(LogLevel::standard, std::string(number == SIGKILL ? "Killing " : "Ending ") +
                                       holder.name + " (" + std::to_string(holder.process) + ")");
      send(process, number);
      ending.push_back(std::move(process));
    }
  }
  const auto limit = EndClock::now() + patience;
  for (const auto& process : ending) {
    waitFor(process, limit);
  }
}

bool ProcessEnd::isProtected(pid_t process) const {
  if (process == 1 || process == ::getpid()) {
    return true;
  }
  const auto program = programOf(_procfs + "/" + std::to_string(process));
  return std::find(kProtectedPrograms.begin(), kProtectedPrograms.end(), program) !=
         kProtectedPrograms.end();
}

}  // namespace marrow
