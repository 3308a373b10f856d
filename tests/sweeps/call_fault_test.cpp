// Calls of a traced process that fail, or do less.
#include "sweep/call_fault.h"

#include "sweep/call_place.h"
#include "tests/rehearsal/temporary_folder.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace marrow::sweep {
namespace {

using testing::Contains;
using testing::Not;

// A child that makes one call when it is let go, and ends with what came of it.
class TracedCall {
 public:
  explicit TracedCall(const std::function<int()>& call) : _child(::fork()) {
    if (_child == 0) {
      ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
      ::raise(SIGSTOP);
      ::_exit(call());
    }
    ::waitpid(_child, nullptr, 0);
    ::ptrace(PTRACE_SETOPTIONS, _child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
  }

  // Goes on to the entry of the first call with that number.
  SystemCall reach(std::uint64_t number) const {
    while (true) {
      step();
      __ptrace_syscall_info info{};
      ::ptrace(PTRACE_GET_SYSCALL_INFO, _child, sizeof info, &info);
      if (info.op == PTRACE_SYSCALL_INFO_ENTRY && info.entry.nr == number) {
        SystemCall call{.number = number, .thread = _child};
        std::copy(std::begin(info.entry.args), std::end(info.entry.args), call.arguments.begin());
        return call;
      }
    }
  }

  void step() const {
    ::ptrace(PTRACE_SYSCALL, _child, nullptr, 0);
    ::waitpid(_child, nullptr, 0);
  }

  int end() const {
    ::ptrace(PTRACE_DETACH, _child, nullptr, 0);
    int status = 0;
    ::waitpid(_child, &status, 0);
    return WEXITSTATUS(status);
  }

 private:
  const pid_t _child;
};

class CallFaultTest : public testing::Test {
 protected:
  rehearsal::TemporaryFolder folder;
};

TEST_F(CallFaultTest, FailsACallThatThenDoesNothing) {
  const std::string path = folder / "made";
  const TracedCall traced([&] { return ::mkdir(path.c_str(), 0700) == 0 ? 0 : errno; });
  const SystemCall call = traced.reach(SYS_mkdir);
  EXPECT_EQ(placeOf(call), "mkdir " + path);
  FaultyCall faulty(call, {EROFS});
  traced.step();
  EXPECT_TRUE(faulty.finish());
  EXPECT_EQ(traced.end(), EROFS);
  EXPECT_NE(::access(path.c_str(), F_OK), 0);
}

TEST_F(CallFaultTest, ClosesWhatCannotBeClosed) {
  const TracedCall traced([] {
    const int descriptor = ::dup(STDERR_FILENO);
    const int error = ::close(descriptor) == 0 ? 0 : errno;
    return ::fcntl(descriptor, F_GETFD) == -1 ? error : 0;
  });
  FaultyCall faulty(traced.reach(SYS_close), {EIO});
  traced.step();
  EXPECT_TRUE(faulty.finish());
  EXPECT_EQ(traced.end(), EIO);
}

TEST_F(CallFaultTest, LetsOneByteThrough) {
  const std::string path = folder / "file";
  const TracedCall traced([&] {
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT, 0600);
    return static_cast<int>(::write(file, "twelve bytes", 12));
  });
  const SystemCall call = traced.reach(SYS_write);
  EXPECT_THAT(faultsOf(call), Contains(CallFault{}));
  FaultyCall faulty(call, {});
  traced.step();
  EXPECT_TRUE(faulty.finish());
  EXPECT_EQ(traced.end(), 1);
  EXPECT_EQ(std::filesystem::file_size(path), 1U);
}

TEST_F(CallFaultTest, FindsErrorsThatGoWithTheCall) {
  SystemCall call{.number = SYS_openat, .thread = ::getpid()};
  EXPECT_THAT(faultsOf(call), Contains(CallFault{EMFILE}));
  EXPECT_THAT(faultsOf(call), Not(Contains(CallFault{ENOSPC})));
  call.arguments[2] = O_WRONLY | O_CREAT | O_EXCL;
  EXPECT_THAT(faultsOf(call), Contains(CallFault{ENOSPC}));
  EXPECT_THAT(faultsOf(call), Contains(CallFault{EBUSY}));
  call.number = SYS_getpid;
  EXPECT_THAT(faultsOf(call), testing::IsEmpty());
}

}  // namespace
}  // namespace marrow::sweep
