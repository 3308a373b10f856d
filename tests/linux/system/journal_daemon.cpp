#include "tests/linux/system/journal_daemon.h"

#include "host/linux/journal_socket.h"
#include "tests/linux/system/text_files.h"

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace marrow {

namespace {

constexpr char kProgram[] = "/lib/systemd/systemd-journald";
constexpr int kNotPrepared = 125;

bool bindMount(const std::string& from, const char* to) {
  return ::mount(from.c_str(), to, nullptr, MS_BIND | MS_REC, nullptr) == 0;
}

// Everything of the machine that the daemon would read or write besides what it is sent.
bool enterOwnMachine(const std::string& run) {
  return ::unshare(CLONE_NEWNS | CLONE_NEWNET) == 0 &&
         ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         bindMount(run + "/machine-id", "/etc/machine-id") &&
         bindMount("/dev/null", (run + "/dev/null").c_str()) &&
         bindMount("/dev/urandom", (run + "/dev/urandom").c_str()) &&
         bindMount(run + "/dev", "/dev") &&
         ::mount("tmpfs", "/var/log", "tmpfs", 0, nullptr) == 0 && bindMount(run, "/run");
}

[[noreturn]] void runDaemon(const std::string& run) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  const int nothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    ::dup2(nothing, standard);
  }
  if (enterOwnMachine(run)) {
    ::execl(kProgram, kProgram, nullptr);
  }
  ::_exit(kNotPrepared);
}

void prepareRun(const ScratchFolder& run) {
  std::filesystem::create_directories(run.at("systemd/journald.conf.d"));
  std::filesystem::create_directories(run.at("dev"));
  writeFile(run.at("systemd/journald.conf.d/test.conf"),
            "[Journal]\nStorage=volatile\nReadKMsg=no\nAudit=no\n");
  writeFile(run.at("machine-id"), "0123456789abcdef0123456789abcdef\n");
  writeFile(run.at("dev/null"), "");
  writeFile(run.at("dev/urandom"), "");
}

std::string outputOf(const std::string& command) {
  FILE* const pipe = ::popen(command.c_str(), "re");
  std::string output;
  std::array<char, 65536> buffer{};
  while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), pipe)) {
    output.append(buffer.data(), count);
  }
  ::pclose(pipe);
  return output;
}

}  // namespace

void JournalDaemon::start() {
  prepareRun(_run);
  std::filesystem::remove(socket());
  _process = ::fork();
  if (_process == 0) {
    runDaemon(_run.path());
  }
  for (int tries = 0; !std::filesystem::exists(socket()); ++tries) {
    int status = 0;
    ASSERT_EQ(::waitpid(_process, &status, WNOHANG), 0) << kProgram << " ended: " << status;
    ASSERT_LT(tries, 6000) << "it does not listen";
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

// It reads what is sent in order.
void JournalDaemon::awaitAllThatWasSent() {
  const std::string mark = "TEST_MARK=" + std::to_string(++_marks);
  JournalSocket sender(socket(), std::chrono::seconds(60));
  ASSERT_EQ(sender.send("MESSAGE=\n" + mark + '\n'), JournalAnswer::taken);
  for (int tries = 0; entries(mark).empty(); ++tries) {
    ASSERT_LT(tries, 1000) << "it reads nothing";
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

void JournalDaemon::end() {
  if (_process != 0) {
    int status = 0;
    awaitAllThatWasSent();
    ::kill(_process, SIGTERM);
    EXPECT_EQ(::waitpid(_process, &status, 0), _process);
    EXPECT_EQ(status, 0);
    _process = 0;
  }
}

void JournalDaemon::halt() {
  ::kill(_process, SIGSTOP);
  EXPECT_EQ(::waitpid(_process, nullptr, WUNTRACED), _process);
}

void JournalDaemon::proceed() { ::kill(_process, SIGCONT); }

std::vector<JournalFields> JournalDaemon::entries(const std::string& matches) const {
  return parseJournalExport(
      outputOf("journalctl --directory=" + _run.at("log/journal") + " --output=export " + matches));
}

}  // namespace marrow
