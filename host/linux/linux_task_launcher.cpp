#include "host/linux/linux_task_launcher.h"

#include "host/linux/linux_launched_task.h"
#include "host/linux/small_file.h"
#include "host/paths.h"
#include "host/text_format.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <optional>
#include <sched.h>
#include <spawn.h>
#include <sys/resource.h>
#include <unistd.h>
#include <utility>

namespace marrow {

namespace {

// The environment of a Debian root (login(1)).
constexpr char kPath[] = "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin";
constexpr char kLanguage[] = "LANG=C.UTF-8";

struct Pipe {
  Descriptor reading;
  Descriptor writing;
};

std::optional<Pipe> makePipe() {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
    return std::nullopt;
  }
  return Pipe{Descriptor(ends[0]), Descriptor(ends[1])};
}

// Which descriptors the child has. Standard input comes last: the pipe may be number 0 itself.
class ChildDescriptors {
 public:
  explicit ChildDescriptors(int output) {
    ::posix_spawn_file_actions_init(&_actions);
    ::posix_spawn_file_actions_adddup2(&_actions, output, STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&_actions, output, STDERR_FILENO);
    ::posix_spawn_file_actions_addopen(&_actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_addclosefrom_np(&_actions, STDERR_FILENO + 1);
  }
  ChildDescriptors(const ChildDescriptors&) = delete;
  ChildDescriptors& operator=(const ChildDescriptors&) = delete;
  ~ChildDescriptors() { ::posix_spawn_file_actions_destroy(&_actions); }

  const posix_spawn_file_actions_t* get() const { return &_actions; }

 private:
  posix_spawn_file_actions_t _actions{};
};

// No signal blocked or ignored, default scheduling.
class ChildAttributes {
 public:
  ChildAttributes() {
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    const sched_param priority{};
    ::posix_spawnattr_init(&_attributes);
    ::posix_spawnattr_setsigmask(&_attributes, &none);
    ::posix_spawnattr_setsigdefault(&_attributes, &all);
    ::posix_spawnattr_setschedpolicy(&_attributes, SCHED_OTHER);
    ::posix_spawnattr_setschedparam(&_attributes, &priority);
    ::posix_spawnattr_setflags(
        &_attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSCHEDULER);
  }
  ChildAttributes(const ChildAttributes&) = delete;
  ChildAttributes& operator=(const ChildAttributes&) = delete;
  ~ChildAttributes() { ::posix_spawnattr_destroy(&_attributes); }

  const posix_spawnattr_t* get() const { return &_attributes; }

 private:
  posix_spawnattr_t _attributes{};
};

// The vectors of execve(2), which takes its texts as not constant although it leaves them alone.
std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (const std::string& text : texts) {
    pointers.push_back(const_cast<char*>(text.c_str()));  // NOLINT
  }
  pointers.push_back(nullptr);
  return pointers;
}

// 0 with the child's number in `process`, or the errno value.
int spawn(const std::vector<std::string>& command, int output, pid_t& process) {
  const std::vector<std::string> environment = {kPath, kLanguage};
  const ChildDescriptors descriptors(output);
  const ChildAttributes attributes;
  return ::posix_spawn(&process, command.front().c_str(), descriptors.get(), attributes.get(),
                       pointersTo(command).data(), pointersTo(environment).data());
}

// While SIGCHLD is ignored, the status of a child is lost (waitpid(2)).
void keepStatusOfChildren() {
  struct sigaction action {};
  ::sigaction(SIGCHLD, nullptr, &action);
  if (action.sa_handler == SIG_IGN || (action.sa_flags & SA_NOCLDWAIT) != 0) {
    struct sigaction fresh {};
    fresh.sa_handler = SIG_DFL;
    ::sigaction(SIGCHLD, &fresh, nullptr);
  }
}

ErrorRef launchError(const std::string& path, int number) {
  return makePOSIXError(number, {{kLocalizedDescriptionKey, formatText("Cannot start %s: %s", path,
                                                                       errorNumberText(number))}});
}

}  // namespace

LinuxTaskLauncher::LinuxTaskLauncher(WaitWatch& waits) : LinuxTaskLauncher(waits, Settings()) {}

LinuxTaskLauncher::LinuxTaskLauncher(WaitWatch& waits, Settings settings)
    : _waits(waits), _settings(std::move(settings)) {}

// What posix_spawn(3) cannot give back to the child is given back right after: it inherits that it
// is never killed for memory, and niceness.
std::unique_ptr<LaunchedTask> LinuxTaskLauncher::launch(const std::string& path,
                                                        const std::vector<std::string>& arguments,
                                                        ErrorSlot error) {
  std::vector<std::string> command = {path};
  command.insert(command.end(), arguments.begin(), arguments.end());
  auto pipe = makePipe();
  if (!pipe) {
    storeError(error, launchError(path, errno));
    return nullptr;
  }
  keepStatusOfChildren();
  pid_t process = 0;
  if (const int number = spawn(command, pipe->writing.number(), process); number != 0) {
    storeError(error, launchError(path, number));
    return nullptr;
  }
  ::setpriority(PRIO_PROCESS, static_cast<id_t>(process), 0);
  writeSmallFile(_settings.processes + '/' + std::to_string(process) + "/oom_score_adj", "0\n");
  return std::make_unique<LinuxLaunchedTask>(
      LinuxLaunchedTask::Child{process, lastPathComponent(path), _settings.processes},
      std::move(pipe->reading), _settings.outputLimit, _waits);
}

}  // namespace marrow
