#include "rehearsal/programs.h"

#include "rehearsal/files.h"
#include "rehearsal/interruption.h"
#include "rehearsal/problem.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace marrow::rehearsal {
namespace {

constexpr std::array kPlaces{"/usr/sbin", "/usr/bin", "/sbin", "/bin", "/usr/local/sbin"};

std::string lastLine(std::string text) {
  while (!text.empty() && text.back() == '\n') {
    text.pop_back();
  }
  const std::size_t begin = text.rfind('\n');
  return begin == std::string::npos ? text : text.substr(begin + 1);
}

// In the child: the parent's death is its own, and of the parent's descriptors it has those alone.
void takeOver(const ProgramStreams& streams, const std::vector<int>& kept, pid_t parent) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (::getppid() != parent) {
    ::_exit(127);
  }
  ::dup2(streams.input.number(), STDIN_FILENO);
  ::dup2(streams.output.number(), STDOUT_FILENO);
  ::dup2(streams.errors.number(), STDERR_FILENO);
  for (const int descriptor : kept) {
    ::fcntl(descriptor, F_SETFD, 0);
  }
  Interruption::restoreSignals();
}

int waitFor(pid_t child) {
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

}  // namespace

std::string findProgram(const std::string& name) {
  for (const std::filesystem::path place : kPlaces) {
    std::string path = place / name;
    if (::access(path.c_str(), X_OK) == 0) {
      return path;
    }
  }
  return {};
}

Descriptor memoryFile(std::string_view content) {
  Descriptor file(checked(::memfd_create("rehearsal", MFD_CLOEXEC), "make a file in memory"));
  writeAll(file.number(), content);
  ::lseek(file.number(), 0, SEEK_SET);
  return file;
}

std::string contentOf(const Descriptor& file) {
  ::lseek(file.number(), 0, SEEK_SET);
  return readAll(file.number());
}

void requireProgram(const std::string& name, std::string_view package) {
  if (findProgram(name).empty()) {
    throw Problem("The program " + name + " is missing: install it with `apt-get install " +
                  std::string(package) + "`.");
  }
}

pid_t startProgram(const std::vector<std::string>& arguments, const ProgramStreams& streams,
                   const std::vector<int>& kept) {
  const std::string path = findProgram(arguments.front());
  std::vector<char*> words;
  words.reserve(arguments.size() + 1);
  for (const std::string& argument : arguments) {
    words.push_back(const_cast<char*>(argument.c_str()));
  }
  words.push_back(nullptr);
  const pid_t self = ::getpid();
  const pid_t child = checked(::fork(), "start " + arguments.front());
  if (child == 0) {
    takeOver(streams, kept, self);
    ::execv(path.c_str(), words.data());
    ::_exit(127);
  }
  return child;
}

std::string runProgram(const std::vector<std::string>& arguments, std::string_view input) {
  const ProgramStreams streams{memoryFile(input), memoryFile(), memoryFile()};
  const int status = waitFor(startProgram(arguments, streams));
  if (WIFSIGNALED(status) && Interruption::isEnding(WTERMSIG(status))) {
    throw Interrupted(WTERMSIG(status));
  }
  if (status != 0) {
    throw Problem(arguments.front() + " failed: " + lastLine(contentOf(streams.errors)));
  }
  return contentOf(streams.output);
}

}  // namespace marrow::rehearsal
