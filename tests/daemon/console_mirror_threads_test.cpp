// The mirror with several threads: its hook runs on whatever thread logs.
#include "daemon/console_mirror.h"
#include "daemon/log_channels.h"
#include "tests/host/host_test.h"

#include <algorithm>
#include <barrier>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

namespace marrow {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

using ConsoleMirrorOnThreads = HostTest;

void runTwice(const std::function<void()>& body) {
  std::thread other(body);
  body();
  other.join();
}

TEST_F(ConsoleMirrorOnThreads, TwoFirstMessagesLeaveOneDescriptorOpen) {
  installConsoleMirror(machine.log, machine.files);
  std::barrier bothAreOpening(2);
  machine.faults.before("Files.open", [&] { bothAreOpening.arrive_and_wait(); });
  runTwice([] { log(generalLogChannel(), LogLevel::standard, "text"); });
  EXPECT_THAT(machine.journal.calls("Files.open"), SizeIs(2));
  EXPECT_THAT(machine.journal.calls("Files.close"), ElementsAre("Files.close /dev/console"));
  EXPECT_THAT(machine.files.openPaths(), ElementsAre("/dev/console"));
}

TEST_F(ConsoleMirrorOnThreads, BothFirstMessagesAreShown) {
  installConsoleMirror(machine.log, machine.files);
  std::barrier bothAreOpening(2);
  machine.faults.before("Files.open", [&] { bothAreOpening.arrive_and_wait(); });
  runTwice([] { log(generalLogChannel(), LogLevel::standard, "text"); });
  EXPECT_EQ(machine.fileSystem.node("/dev/console")->content,
            "com.corvane.Marrow: text\ncom.corvane.Marrow: text\n");
}

TEST_F(ConsoleMirrorOnThreads, LinesOfManyThreadsDoNotMix) {
  constexpr std::size_t kThreads = 4;
  constexpr std::size_t kMessages = 100;
  installConsoleMirror(machine.log, machine.files);
  std::vector<std::thread> threads;
  for (std::size_t thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([] {
      for (std::size_t message = 0; message < kMessages; ++message) {
        log(operationsLogChannel(), LogLevel::standard, "a line of text");
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  std::string expected;
  for (std::size_t line = 0; line < kThreads * kMessages; ++line) {
    expected += "com.corvane.Marrow: a line of text\n";
  }
  EXPECT_EQ(machine.fileSystem.node("/dev/console")->content, expected);
  EXPECT_THAT(machine.files.openPaths(), ElementsAre("/dev/console"));
}

}  // namespace
}  // namespace marrow
