#include "benchmarks/machine/child_result.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace marrow {

namespace {

constexpr int kFailed = 1;

void sendAll(int pipe, const std::string& bytes) {
  std::size_t sent = 0;
  while (sent < bytes.size()) {
    const ssize_t count = ::write(pipe, bytes.data() + sent, bytes.size() - sent);
    if (count < 0) {
      ::_exit(kFailed);
    }
    sent += static_cast<std::size_t>(count);
  }
}

[[noreturn]] void runChild(const std::function<std::string()>& work, int pipe) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  try {
    sendAll(pipe, work());
    ::_exit(0);
  } catch (const std::exception& failure) {
    sendAll(pipe, failure.what());
    ::_exit(kFailed);
  }
}

std::string receiveAll(int pipe) {
  std::string bytes;
  std::array<char, 4096> part{};
  ssize_t count = 0;
  while ((count = ::read(pipe, part.data(), part.size())) > 0) {
    bytes.append(part.data(), static_cast<std::size_t>(count));
  }
  return bytes;
}

}  // namespace

std::string bytesOfChild(const std::function<std::string()>& work) {
  std::array<int, 2> pipe{};
  if (::pipe2(pipe.data(), O_CLOEXEC) != 0) {
    throw std::runtime_error("Cannot make a pipe.");
  }
  const pid_t child = ::fork();
  if (child == 0) {
    runChild(work, pipe[1]);
  }
  ::close(pipe[1]);
  std::string bytes = receiveAll(pipe[0]);
  ::close(pipe[0]);
  int status = 0;
  if (child < 0 || ::waitpid(child, &status, 0) != child || status != 0) {
    throw std::runtime_error(bytes.empty() ? "A measuring process was ended." : bytes);
  }
  return bytes;
}

}  // namespace marrow
