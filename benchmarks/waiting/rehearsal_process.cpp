#include "benchmarks/waiting/rehearsal_process.h"

#include "benchmarks/waiting/process_sample.h"

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace marrow {

namespace {

constexpr int kNotStarted = 127;

// It gives back what it holds also when the benchmark is killed.
[[noreturn]] void become(const std::vector<char*>& words) {
  ::prctl(PR_SET_PDEATHSIG, SIGTERM);
  const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
  ::dup2(nowhere, STDOUT_FILENO);
  ::dup2(nowhere, STDERR_FILENO);
  ::execv(words.front(), words.data());
  ::_exit(kNotStarted);
}

}  // namespace

RehearsalProcess::RehearsalProcess(const BenchOptions& options,
                                   std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(),
                   {MARROW_REHEARSE, "--daemon", options.daemon, "--quiet", "--logs",
                    std::string(MARROW_BENCH_FOLDER) + "/rehearsal-logs"});
  std::vector<char*> words;
  for (auto& argument : arguments) {
    words.push_back(argument.data());
  }
  words.push_back(nullptr);
  _process = ::fork();
  if (_process == 0) {
    become(words);
  }
}

RehearsalProcess::~RehearsalProcess() {
  if (_process > 0) {
    ::kill(_process, SIGTERM);
    finish();
  }
}

pid_t RehearsalProcess::daemon() const {
  siginfo_t ended{};
  while (::waitid(P_PID, static_cast<id_t>(_process), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 &&
         ended.si_pid == 0) {
    if (const auto found = descendantNamed(_process, "marrowd")) {
      return *found;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  throw std::runtime_error("The rehearsal ended before there was a daemon.");
}

void RehearsalProcess::finish() { ::waitpid(std::exchange(_process, 0), nullptr, 0); }

}  // namespace marrow
