#include "host/linux/termination_guard.h"

#include "tests/contract/system/scratch_folder.h"
#include "tests/linux/system/text_files.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <memory>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace marrow {

namespace {

// Runs it in a process of its own; how that ended, as wait(2) tells.
int statusOf(const std::function<void()>& run) {
  const pid_t child = ::fork();
  if (child == 0) {
    run();
    ::_exit(0);
  }
  int status = 0;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  return status;
}

class TerminationGuardTest : public testing::TestWithParam<int> {
 protected:
  const ScratchFolder folder;
};
INSTANTIATE_TEST_SUITE_P(Signals, TerminationGuardTest,
                         testing::Values(SIGHUP, SIGINT, SIGQUIT, SIGTERM));

TEST_P(TerminationGuardTest, HoldsASignalOffUntilTheChangeIsWhole) {
  const int status = statusOf([&] {
    const TerminationGuard guard;
    ::kill(::getpid(), GetParam());
    writeFile(folder.at("changed"), "");
  });
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), GetParam());
  EXPECT_TRUE(std::filesystem::exists(folder.at("changed")));
}

TEST_P(TerminationGuardTest, HoldsASignalOffThatReachesAnotherThread) {
  const int status = statusOf([&] {
    auto guard = std::make_unique<TerminationGuard>();
    std::thread other([&] { ::pthread_kill(::pthread_self(), GetParam()); });
    other.join();
    { const TerminationGuard inner; }
    writeFile(folder.at("changed"), "");
    guard.reset();
    ::pause();
  });
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), GetParam());
  EXPECT_TRUE(std::filesystem::exists(folder.at("changed")));
}

TEST_P(TerminationGuardTest, LeavesAnIgnoredSignalIgnored) {
  EXPECT_EQ(statusOf([] {
              std::signal(GetParam(), SIG_IGN);
              { const TerminationGuard guard; }
              ::kill(::getpid(), GetParam());
            }),
            0);
}

TEST_P(TerminationGuardTest, ChangesNothingWhenNoSignalCame) {
  EXPECT_EQ(statusOf([] { const TerminationGuard guard; }), 0);
  const int status = statusOf([] {
    { const TerminationGuard guard; }
    ::kill(::getpid(), GetParam());
  });
  EXPECT_TRUE(WIFSIGNALED(status));
}

}  // namespace

}  // namespace marrow
