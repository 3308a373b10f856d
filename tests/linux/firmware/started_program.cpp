#include "tests/linux/firmware/started_program.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace marrow {

namespace {

[[noreturn]] void becomeProgram(std::vector<char*>& words, bool quiet) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (quiet) {
    const int nowhere = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    ::dup2(nowhere, STDOUT_FILENO);
    ::dup2(nowhere, STDERR_FILENO);
  }
  ::execvp(words.front(), words.data());
  ::_exit(127);
}

}  // namespace

StartedProgram::StartedProgram(const std::vector<std::string>& words, bool quiet) {
  std::vector<char*> arguments;
  for (const std::string& word : words) {
    arguments.push_back(const_cast<char*>(word.c_str()));
  }
  arguments.push_back(nullptr);
  _process = ::fork();
  if (_process == 0) {
    becomeProgram(arguments, quiet);
  }
  EXPECT_GT(_process, 0) << words.front();
}

void StartedProgram::suspend() const {
  EXPECT_EQ(::kill(_process, SIGSTOP), 0);
  siginfo_t stopped{};
  EXPECT_EQ(::waitid(P_PID, static_cast<id_t>(_process), &stopped, WSTOPPED | WEXITED), 0);
  EXPECT_EQ(stopped.si_code, CLD_STOPPED);
}

void StartedProgram::resume() const { EXPECT_EQ(::kill(_process, SIGCONT), 0); }

bool StartedProgram::terminate() {
  EXPECT_EQ(::kill(_process, SIGTERM), 0);
  int status = -1;
  EXPECT_EQ(::waitpid(_process, &status, 0), _process);
  _process = 0;
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void StartedProgram::end() {
  if (_process > 0) {
    EXPECT_EQ(::kill(_process, SIGKILL), 0);
    EXPECT_EQ(::waitpid(_process, nullptr, 0), _process);
    _process = 0;
  }
}

ProgramOutput runProgram(const std::string& command) {
  ProgramOutput output;
  FILE* const pipe = ::popen(command.c_str(), "re");
  std::array<char, 512> part{};
  while (pipe != nullptr && std::fgets(part.data(), part.size(), pipe) != nullptr) {
    output.text += part.data();
  }
  const int status = pipe != nullptr ? ::pclose(pipe) : -1;
  output.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return output;
}

}  // namespace marrow
