#include "sweep/call_fault.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/user.h>

namespace marrow::sweep {
namespace {

// A register's value that makes the kernel leave out the call (ptrace(2), seccomp(2)).
constexpr auto kNoCall = ~0ULL;

// The arguments that hold the number of bytes.
std::optional<std::size_t> lengthArgument(std::uint64_t number) {
  switch (number) {
    case SYS_read:
    case SYS_write:
    case SYS_pread64:
    case SYS_pwrite64:
      return 2;
    case SYS_sendfile:
      return 3;
    case SYS_copy_file_range:
      return 4;
    default:
      return std::nullopt;
  }
}

unsigned long long& argument(user_regs_struct& registers, std::size_t index) {
  switch (index) {
    case 2:
      return registers.rdx;
    case 3:
      return registers.r10;
    default:
      return registers.r8;
  }
}

std::uint64_t asResult(int error) { return static_cast<std::uint64_t>(-std::int64_t{error}); }

}  // namespace

std::string describe(const CallFault& fault) {
  return fault.isShort() ? "short" : ::strerrorname_np(fault.error);
}

FaultyCall::FaultyCall(const SystemCall& call, const CallFault& fault)
    : _call(call), _fault(fault) {
  user_regs_struct registers{};
  ::ptrace(PTRACE_GETREGS, call.thread, nullptr, &registers);
  const auto length = lengthArgument(call.number);
  if (fault.isShort() && length) {
    argument(registers, *length) = 1;
  } else if (!fault.isShort() && call.number != SYS_close) {
    registers.orig_rax = kNoCall;
    registers.rax = asResult(fault.error);
  }
  ::ptrace(PTRACE_SETREGS, call.thread, nullptr, &registers);
}

bool FaultyCall::finish() {
  user_regs_struct registers{};
  ::ptrace(PTRACE_GETREGS, _call.thread, nullptr, &registers);
  if (const auto length = lengthArgument(_call.number); _fault.isShort() && length) {
    argument(registers, *length) = _call.arguments.at(*length);
  } else {
    registers.rax = asResult(_fault.error);
  }
  const bool isSet = ::ptrace(PTRACE_SETREGS, _call.thread, nullptr, &registers) == 0;
  return isSet && (!_fault.isShort() || registers.rax == 1);
}

}  // namespace marrow::sweep
