#include "tests/linux/firmware/cut_writer.h"

#include <csignal>
#include <cstdint>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <optional>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace marrow {

namespace {

struct PendingWrite {
  off_t offset = 0;
  std::string bytes;
};

std::string processFile(pid_t process, const std::string& name) {
  return "/proc/" + std::to_string(process) + "/" + name;
}

off_t positionOf(pid_t process, std::uint64_t descriptor) {
  std::ifstream info(processFile(process, "fdinfo/" + std::to_string(descriptor)));
  std::string word;
  off_t position = 0;
  info >> word >> position;
  EXPECT_EQ(word, "pos:");
  return position;
}

std::string memoryOf(pid_t process, std::uint64_t address, std::size_t size) {
  std::string bytes(size, '\0');
  const int memory = ::open(processFile(process, "mem").c_str(), O_RDONLY | O_CLOEXEC);
  EXPECT_EQ(::pread(memory, bytes.data(), size, static_cast<off_t>(address)),
            static_cast<ssize_t>(size));
  ::close(memory);
  return bytes;
}

// The write to this file that the stopped process is about to make; absent for any other call.
std::optional<PendingWrite> pendingWrite(pid_t process, const std::string& file) {
  __ptrace_syscall_info call{};
  ::ptrace(PTRACE_GET_SYSCALL_INFO, process, sizeof(call), &call);
  const bool isWrite = call.entry.nr == SYS_write || call.entry.nr == SYS_pwrite64;
  if (call.op != PTRACE_SYSCALL_INFO_ENTRY || !isWrite) {
    return std::nullopt;
  }
  const std::uint64_t descriptor = call.entry.args[0];
  std::error_code unreadable;
  const auto target = std::filesystem::read_symlink(
      processFile(process, "fd/" + std::to_string(descriptor)), unreadable);
  if (unreadable || target != file) {
    return std::nullopt;
  }
  const off_t offset = call.entry.nr == SYS_write ? positionOf(process, descriptor)
                                                  : static_cast<off_t>(call.entry.args[3]);
  return PendingWrite{offset, memoryOf(process, call.entry.args[1], call.entry.args[2])};
}

void writePart(const std::string& file, const PendingWrite& write, CutWrite cut) {
  const std::size_t size = cut == CutWrite::nothing ? 0
                           : cut == CutWrite::half  ? write.bytes.size() / 2
                                                    : write.bytes.size();
  const int descriptor = ::open(file.c_str(), O_WRONLY | O_CLOEXEC);
  EXPECT_EQ(::pwrite(descriptor, write.bytes.data(), size, write.offset),
            static_cast<ssize_t>(size));
  ::close(descriptor);
}

void end(pid_t process) {
  ::kill(process, SIGKILL);
  ::waitpid(process, nullptr, 0);
}

// At the next call of a system call's beginning or end; false when the process has ended.
bool goOn(pid_t process) {
  int status = 0;
  ::ptrace(PTRACE_SYSCALL, process, nullptr, nullptr);
  ::waitpid(process, &status, 0);
  return WIFSTOPPED(status);
}

}  // namespace

bool cutAtWrite(const std::string& file, int number, CutWrite cut,
                const std::function<void()>& action) {
  const pid_t process = ::fork();
  if (process == 0) {
    ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    ::raise(SIGSTOP);
    action();
    ::_exit(0);
  }
  int status = 0;
  ::waitpid(process, &status, 0);
  EXPECT_TRUE(WIFSTOPPED(status));
  EXPECT_EQ(::ptrace(PTRACE_SETOPTIONS, process, 0, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL), 0);
  for (int count = 0; goOn(process);) {
    const auto write = pendingWrite(process, file);
    count += write ? 1 : 0;
    if (write && count == number) {
      writePart(file, *write, cut);
      end(process);
      return true;
    }
  }
  return false;
}

}  // namespace marrow
