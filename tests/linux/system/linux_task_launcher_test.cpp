#include "host/linux/linux_task_launcher.h"

#include "tests/contract/system/scratch_folder.h"
#include "tests/linux/system/recorded_log.h"
#include "tests/linux/system/text_files.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <set>
#include <sys/resource.h>
#include <unistd.h>

namespace marrow {

namespace {

class LinuxTaskLauncherTest : public testing::Test {
 protected:
  struct Outcome {
    std::string output;
    int status;
  };
  Outcome run(const std::string& script, LinuxTaskLauncher& by) {
    const auto task = by.launch("/bin/sh", {"-c", script}, nullptr);
    EXPECT_NE(task, nullptr);
    const std::string output = task->readOutputToEnd(nullptr).value();
    task->waitUntilExit();
    return {output, task->terminationStatus()};
  }
  Outcome run(const std::string& script) { return run(script, launcher); }

  RecordedLog log;
  WaitWatch waits{log};
  LinuxTaskLauncher launcher{waits};
};

std::size_t openDescriptors() {
  return static_cast<std::size_t>(std::distance(
      std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator()));
}

// A set of signals in the text of proc_pid_status(5).
std::uint64_t signalsIn(const std::string& status, const std::string& field) {
  constexpr int kHexadecimal = 16;
  return std::stoull(status.substr(status.find(field) + field.size()), nullptr, kHexadecimal);
}

TEST_F(LinuxTaskLauncherTest, CollectsBothOutputsAsTheyCome) {
  EXPECT_EQ(run("echo one; echo two >&2; echo three").output, "one\ntwo\nthree\n");
}

TEST_F(LinuxTaskLauncherTest, GivesTheChildItsStandardDescriptorsAlone) {
  const int leaking = ::open("/dev/null", O_RDONLY);  // without O_CLOEXEC
  ASSERT_EQ(::dup2(leaking, 50), 50);
  EXPECT_EQ(run("exec /bin/ls -l /proc/self/fd | sed -n 's/.* \\([0-9]* -> .*\\)/\\1/p' | "
                "grep -c -e '^0 -> /dev/null' -e '^[5-9][0-9]* -> ' ")
                .output,
            "1\n");
  EXPECT_EQ(run("read line; echo \"status $?\"").output, "status 1\n");
  ::close(50);
  ::close(leaking);
}

TEST_F(LinuxTaskLauncherTest, LeavesNoDescriptorOpen) {
  const std::size_t before = openDescriptors();
  for (int round = 0; round < 20; ++round) {
    run("true");
    EXPECT_EQ(launcher.launch("/missing", {}, nullptr), nullptr);
  }
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(LinuxTaskLauncherTest, GivesTheChildPathAndLanguageAlone) {
  ASSERT_EQ(::setenv("MARROW_TEST_LEAK", "yes", 1), 0);
  const auto task = launcher.launch("/usr/bin/env", {}, nullptr);
  EXPECT_EQ(task->readOutputToEnd(nullptr),
            "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin\nLANG=C.UTF-8\n");
  task->waitUntilExit();
}

TEST_F(LinuxTaskLauncherTest, GivesTheChildNoBlockedOrIgnoredSignals) {
  sigset_t blocked;
  sigset_t before;
  sigfillset(&blocked);
  ::pthread_sigmask(SIG_BLOCK, &blocked, &before);
  const auto previous = std::signal(SIGPIPE, SIG_IGN);
  const std::string status = run("cat /proc/self/status").output;
  std::signal(SIGPIPE, previous);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  constexpr std::uint64_t kOwnOfTheCLibrary = 0x180000000;  // signals 32 and 33
  EXPECT_EQ(signalsIn(status, "SigBlk:\t"), 0U) << status;
  EXPECT_EQ(signalsIn(status, "SigIgn:\t") & ~kOwnOfTheCLibrary, 0U) << status;
}

TEST_F(LinuxTaskLauncherTest, KeepsTheStatusAlsoWhereChildrenAreIgnored) {
  const auto previous = std::signal(SIGCHLD, SIG_IGN);
  EXPECT_EQ(run("exit 5").status, 5);
  std::signal(SIGCHLD, previous);
}

TEST_F(LinuxTaskLauncherTest, TellsTheSignalThatEndedTheProgram) {
  EXPECT_EQ(run("kill -KILL $$").status, SIGKILL);
  EXPECT_EQ(run("kill -TERM $$").status, SIGTERM);
  EXPECT_EQ(run("exit 255").status, 255);
}

TEST_F(LinuxTaskLauncherTest, TellsEachStatusThatAProgramCanEndWith) {
  for (int status = 0; status <= 255; ++status) {
    EXPECT_EQ(run("exit " + std::to_string(status)).status, status);
  }
}

// Those that the kernel lets a program ignore, and those that stop it, end nothing (signal(7)); 32
// and 33 are the C library's own.
TEST_F(LinuxTaskLauncherTest, TellsEachSignalThatCanEndAProgram) {
  const std::set<int> endNothing = {SIGCHLD, SIGCONT, SIGSTOP,  SIGTSTP, SIGTTIN,
                                    SIGTTOU, SIGURG,  SIGWINCH, 32,      33};
  for (int signal = 1; signal <= SIGRTMAX; ++signal) {
    const std::string script = "ulimit -c 0; kill -" + std::to_string(signal) + " $$; exit 77";
    if (!endNothing.contains(signal)) {
      EXPECT_EQ(run(script).status, signal);
    }
  }
}

TEST_F(LinuxTaskLauncherTest, DropsOutputBeyondTheLimitAndSaysSo) {
  LinuxTaskLauncher small(waits, {"/proc", 1000});
  const Outcome outcome = run("head -c 2500 /dev/zero | tr '\\0' x; exit 3", small);
  EXPECT_EQ(outcome.output, std::string(1000, 'x') + "\n[1500 more bytes of output were dropped]");
  EXPECT_EQ(outcome.status, 3);
  EXPECT_EQ(run("head -c 1000 /dev/zero | tr '\\0' x", small).output, std::string(1000, 'x'));
}

TEST_F(LinuxTaskLauncherTest, DropsACharacterThatTheLimitCutsWhole) {
  LinuxTaskLauncher small(waits, {"/proc", 4});
  EXPECT_EQ(run("printf 'ab\\342\\202\\254'", small).output,
            "ab\n[3 more bytes of output were dropped]");
}

TEST_F(LinuxTaskLauncherTest, KeepsSixtyFourMebibytes) {
  const Outcome outcome = run("head -c 100000000 /dev/zero");
  const std::string note = "\n[32891136 more bytes of output were dropped]";
  EXPECT_EQ(outcome.output.size(), (64U << 20U) + note.size());
  EXPECT_TRUE(outcome.output.ends_with(note));
  EXPECT_EQ(outcome.status, 0);
}

TEST_F(LinuxTaskLauncherTest, LetsTheChildBeKilledWhenMemoryRunsOut) {
  const ScratchFolder folder;
  LinuxTaskLauncher launching(waits, {folder.path(), 1000});
  const auto task = launching.launch("/bin/sleep", {"5"}, nullptr);
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
  const std::string own = fileText("/proc/self/oom_score_adj");
  writeFile("/proc/self/oom_score_adj", "300\n");
  EXPECT_EQ(run("sleep 0.2; cat /proc/self/oom_score_adj").output, "0\n");
  writeFile("/proc/self/oom_score_adj", own);
}

TEST_F(LinuxTaskLauncherTest, GivesTheChildDefaultScheduling) {
  ASSERT_EQ(::setpriority(PRIO_PROCESS, 0, 5), 0);
  EXPECT_EQ(run("sleep 0.2; cut -d' ' -f19,41 /proc/self/stat").output, "0 0\n");
  ASSERT_EQ(::setpriority(PRIO_PROCESS, 0, 0), 0);
}

TEST_F(LinuxTaskLauncherTest, SaysWhyAProgramCannotBeStarted) {
  ErrorRef error;
  EXPECT_EQ(launcher.launch("/missing/program", {}, &error), nullptr);
  EXPECT_EQ(error->localizedDescription(),
            "Cannot start /missing/program: No such file or directory");
  EXPECT_EQ(launcher.launch("/etc/passwd", {}, &error), nullptr);
  EXPECT_EQ(error->code(), EACCES);
  EXPECT_EQ(launcher.launch("/tmp", {}, &error), nullptr);
  EXPECT_EQ(error->code(), EACCES);
}

TEST_F(LinuxTaskLauncherTest, WaitsForEverybodyWhoHoldsThePipe) {
  EXPECT_EQ(run("(sleep 0.3; echo late) & echo early").output, "early\nlate\n");
}

TEST_F(LinuxTaskLauncherTest, StartsAProgramWithItsOwnStandardDescriptorsClosed) {
  const auto start = [this] {
    for (const int number : {0, 1, 2}) {
      ::close(number);
    }
    ::_exit(run("echo one; echo two >&2").output == "one\ntwo\n" ? 0 : 1);
  };
  EXPECT_EXIT(start(), testing::ExitedWithCode(0), "");
}

}  // namespace

}  // namespace marrow
