// Machines that come to their end in every way there is, and what is left of them.
#include "rehearsal/files.h"
#include "rehearsal/options.h"
#include "tests/rehearsal/temporary_folder.h"

#include <chrono>
#include <dirent.h>
#include <fcntl.h>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace marrow::rehearsal {
namespace {

using testing::HasSubstr;

constexpr auto kPatience = std::chrono::seconds(150);

bool becomesTrue(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

// Field four of proc_pid_stat(5); the second one, in parentheses, may hold blanks.
pid_t parentOf(const std::string& process) {
  const std::string text = readFile("/proc/" + process + "/stat").value_or(") ? 0");
  return std::stoi(text.substr(text.rfind(')') + 4));
}

// Children come after their parents in this list only where numbers have not wrapped: none is
// missed.
std::vector<pid_t> descendantsOf(pid_t process) {
  std::vector<pid_t> found;
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    const std::string name = entry.path().filename();
    if (name.find_first_not_of("0123456789") == std::string::npos && parentOf(name) == process) {
      const pid_t child = std::stoi(name);
      found.push_back(child);
      const std::vector<pid_t> below = descendantsOf(child);
      found.insert(found.end(), below.begin(), below.end());
    }
  }
  return found;
}

bool isThere(pid_t process) { return ::kill(process, 0) == 0; }

class RehearsedMachine : public testing::Test {
 protected:
  ~RehearsedMachine() override {
    if (_process > 0) {
      ::kill(_process, SIGKILL);
      ::waitpid(_process, nullptr, 0);
    }
  }

  void useDaemon(const std::string& script) {
    writeFile(folder / "daemon", "#!/bin/sh\n" + script, 0755);
    daemon = folder / "daemon";
  }

  // In a process group of its own, as a shell would.
  void start(const std::string& scenario = "other-nonce") {
    _process = ::fork();
    if (_process == 0) {
      ::setpgid(0, 0);
      ::setenv("TMPDIR", folder.path().c_str(), 1);
      const Descriptor output = openFile(folder / "output", O_WRONLY | O_CREAT | O_TRUNC);
      ::dup2(output.number(), STDOUT_FILENO);
      ::dup2(output.number(), STDERR_FILENO);
      ::execl(MARROW_REHEARSE, "marrow-rehearse", "--daemon", daemon.c_str(), "--migrator",
              "/bin/true", "--scenario", scenario.c_str(), "--logs", (folder / "logs").c_str(),
              nullptr);
      ::_exit(127);
    }
  }

  int end() {
    int status = 0;
    ::waitpid(std::exchange(_process, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

  int run(const std::string& scenario = "other-nonce") {
    start(scenario);
    return end();
  }

  std::string output() const { return readFile(folder / "output").value_or(""); }
  bool says(const std::string& text) const { return output().find(text) != std::string::npos; }

  // Loop devices whose file lies in the folder of this test.
  bool hasLoopDevices() const {
    for (const auto& entry : std::filesystem::directory_iterator("/sys/block")) {
      const auto file = readFile(entry.path() / "loop/backing_file");
      if (file && file->starts_with(folder.path().string())) {
        return true;
      }
    }
    return false;
  }

  // Nothing but what the test put there and the logs.
  std::vector<std::string> filesLeft() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
      const std::string name = entry.path().filename();
      if (name != "daemon" && name != "output" && name != "logs") {
        names.push_back(name);
      }
    }
    return names;
  }

  void expectNothingLeft(const std::vector<pid_t>& processes) const {
    for (const pid_t process : processes) {
      EXPECT_TRUE(becomesTrue([&] { return !isThere(process); })) << process;
    }
    EXPECT_TRUE(becomesTrue([&] { return !hasLoopDevices(); }));
    EXPECT_THAT(filesLeft(), testing::IsEmpty());
    const std::string mounts = readFile("/proc/self/mounts").value_or("");
    EXPECT_EQ(mounts.find("rehearsal /mnt"), std::string::npos);
  }

  // Until the daemon runs, all its processes included.
  std::vector<pid_t> startedMachine() {
    useDaemon("echo 'com.corvane.Marrow: here' >/dev/console\nexec sleep 600\n");
    start();
    EXPECT_TRUE(becomesTrue([&] { return says("com.corvane.Marrow: here"); })) << output();
    std::vector<pid_t> processes = descendantsOf(_process);
    EXPECT_GE(processes.size(), 2U);
    processes.push_back(_process);
    return processes;
  }

  TemporaryFolder folder;
  std::string daemon = REHEARSAL_PROBE;
  pid_t _process = -1;
};

TEST_F(RehearsedMachine, EndsAloneWhenItReboots) {
  EXPECT_EQ(run(), 1);
  EXPECT_THAT(output(), HasSubstr("reboot "));
  EXPECT_THAT(output(), HasSubstr("EXPECTED all completed"));
  expectNothingLeft({});
}

TEST_F(RehearsedMachine, TellsTheErrorOfARefusedReboot) {
  EXPECT_EQ(run("reboot-refused"), 1);
  EXPECT_THAT(output(), HasSubstr("no reboot, marrowd ended with status 1 "));
}

TEST_F(RehearsedMachine, TellsTheStatusOfADaemonThatEnds) {
  useDaemon("exit 77\n");
  EXPECT_EQ(run(), 1);
  EXPECT_THAT(output(), HasSubstr("no reboot, marrowd ended with status 77"));
}

TEST_F(RehearsedMachine, ShowsConsoleAndPercentagesApart) {
  useDaemon("echo 'com.corvane.Marrow: words' >/dev/console\nprintf '\\r 7%%' >/dev/tty1\n");
  EXPECT_EQ(run(), 1);
  EXPECT_THAT(output(), HasSubstr("] com.corvane.Marrow: words\n"));
  EXPECT_THAT(output(), HasSubstr("progress: 7%\n"));
}

TEST_F(RehearsedMachine, CannotReachTheRealMachine) {
  useDaemon(
      "touch /usr/marrow-was-here 2>/dev/console\n"
      "echo 1 2>/dev/console >/proc/sys/kernel/panic\n"
      "mknod /dev/all b 7 0 2>/dev/console\n"
      "test -e /dev/loop-control || echo 'no loop-control' >/dev/console\n"
      "cat /proc/cmdline /etc/initrd-release >/dev/console\n");
  EXPECT_EQ(run(), 1);
  EXPECT_THAT(output(), HasSubstr("touch: cannot touch '/usr/marrow-was-here': Read-only"));
  EXPECT_THAT(output(), HasSubstr("/proc/sys/kernel/panic: Read-only"));
  EXPECT_THAT(output(), HasSubstr("/dev/all: Operation not permitted"));
  EXPECT_THAT(output(), HasSubstr("no loop-control"));
  EXPECT_THAT(output(), HasSubstr("kern.bootuuid="));
}

TEST_F(RehearsedMachine, LeavesNothingAfterCtrlC) {
  const std::vector<pid_t> processes = startedMachine();
  ::kill(-_process, SIGINT);
  EXPECT_EQ(end(), 130);
  EXPECT_THAT(output(), HasSubstr("Stopped. Nothing of the machine is left."));
  expectNothingLeft(processes);
}

TEST_F(RehearsedMachine, LeavesNothingWhenStoppedWhileItIsPrepared) {
  start();
  EXPECT_TRUE(becomesTrue([&] { return says("Preparing"); }));
  ::kill(-_process, SIGTERM);
  EXPECT_EQ(end(), 143);
  expectNothingLeft({});
}

TEST_F(RehearsedMachine, LeavesNothingWhenItIsKilledItself) {
  const std::vector<pid_t> processes = startedMachine();
  ::kill(_process, SIGKILL);
  EXPECT_EQ(end(), -SIGKILL);
  expectNothingLeft(processes);
}

TEST_F(RehearsedMachine, LeavesNothingWhenTheDaemonIsKilled) {
  const std::vector<pid_t> processes = startedMachine();
  for (const pid_t process : processes) {
    const std::string command =
        readFile("/proc/" + std::to_string(process) + "/cmdline").value_or("");
    if (command.starts_with("sleep")) {
      ::kill(process, SIGKILL);
    }
  }
  EXPECT_EQ(end(), 1);
  EXPECT_THAT(output(), HasSubstr("marrowd ended with status 137"));
  expectNothingLeft(processes);
}

TEST_F(RehearsedMachine, SaysWhichProgramIsMissing) {
  daemon = folder / "daemon";
  writeFile(daemon, "");
  EXPECT_EQ(run(), 2);
  EXPECT_THAT(output(), HasSubstr("There is no program " + daemon));
}

}  // namespace
}  // namespace marrow::rehearsal
