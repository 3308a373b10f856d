// Waits without a limit, and what the log tells of them.
#include "host/linux/wait_watch.h"

#include "host/linux/linux_file_trees.h"
#include "host/linux/linux_files.h"
#include "host/linux/linux_task_launcher.h"
#include "tests/contract/system/scratch_folder.h"
#include "tests/linux/system/failing_calls.h"
#include "tests/linux/system/recorded_log.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <future>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <thread>
#include <vector>

namespace marrow {

namespace {

using namespace std::chrono_literals;
using testing::ContainsRegex;

class WaitWatchTest : public testing::Test {
 protected:
  bool isTold(const std::string& pattern) const {
    const auto texts = log.texts();
    return std::any_of(texts.begin(), texts.end(), [&](const std::string& text) {
      return testing::Matches(ContainsRegex(pattern))(text);
    });
  }
  void expectTold(const std::string& pattern) const {
    const auto deadline = std::chrono::steady_clock::now() + 20s;
    while (!isTold(pattern) && std::chrono::steady_clock::now() < deadline) {
      std::this_thread::sleep_for(1ms);
    }
    EXPECT_TRUE(isTold(pattern)) << pattern << '\n' << testing::PrintToString(log.texts());
  }

  RecordedLog log;
  WaitWatch watch{log, 5ms};
};

TEST_F(WaitWatchTest, TellsOfAWaitAgainAndAgainAndOfItsEnd) {
  std::atomic<int> asked = 0;
  {
    errno = ENOTTY;
    const WaitWatch::Wait wait(watch, [&] { return "subject " + std::to_string(++asked); });
    EXPECT_EQ(errno, ENOTTY);
    expectTold("^Waiting for subject 1, for [0-9]+ seconds now\\.$");
    expectTold("^Waiting for subject 3, for ");
  }
  EXPECT_EQ(log.texts().back(),
            "Waited for subject " + std::to_string(asked) + ": it took 0 seconds.");
}

TEST_F(WaitWatchTest, TellsNothingOfAShortWaitAndNothingMoreOfOneThatIsOver) {
  WaitWatch patient(log, 1h);
  const WaitWatch::Wait going(patient, [] { return std::string("a short one"); });
  {
    const WaitWatch::Wait over(watch, [] { return std::string("one that is over"); });
  }
  const WaitWatch::Wait other(watch, [] { return std::string("another"); });
  expectTold("another");
  EXPECT_FALSE(isTold("short"));
  EXPECT_FALSE(isTold("over, for"));
}

TEST_F(WaitWatchTest, TellsOfSeveralWaitsAtOnce) {
  const WaitWatch::Wait one(watch, [] { return std::string("one"); });
  const WaitWatch::Wait two(watch, [] { return std::string("two"); });
  expectTold("Waiting for one,");
  expectTold("Waiting for two,");
}

TEST_F(WaitWatchTest, ServesManyThreads) {
  WaitWatch restless(log, 1ms);
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([&restless, number] {
      for (int round = 0; round < 2000; ++round) {
        const WaitWatch::Wait wait(restless, [number] { return std::to_string(number); });
        const WaitWatch::Wait inner(restless, [round] { return std::to_string(round); });
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

class SlowFlush : public WaitWatchTest {
 protected:
  ~SlowFlush() override { failingCalls = {}; }

  // Each flush takes until the log was told of it.
  void untilTold(const std::string& pattern) {
    failingCalls.duringSyncfs = [this, pattern] { expectTold(pattern); };
  }

  const ScratchFolder folder;
};

TEST_F(SlowFlush, OfAVolumeIsNamed) {
  LinuxFiles files(watch);
  untilTold("^Waiting for the disk to take what is written below " + folder.path() + ", for ");
  const int opened = files.open(folder.path(), OpenFlags::readOnly);
  EXPECT_EQ(files.fullSync(opened), 0);
  EXPECT_EQ(files.close(opened), 0);
  EXPECT_TRUE(isTold("^Waited for the disk to take .*: it took [0-9]+ seconds\\.$"));
}

TEST_F(SlowFlush, OfWhatIsStagedIsNamed) {
  LinuxFileTrees trees(log, watch);
  std::filesystem::create_directories(folder.at("staged"));
  std::filesystem::create_directories(folder.at("live"));
  untilTold("^Waiting for the disk to take " + folder.at("staged") + " before it is installed, ");
  EXPECT_EQ(trees.swap(folder.at("staged"), folder.at("live")), 0);
}

class AwaitedProgram : public WaitWatchTest {
 protected:
  void start(const std::string& script) {
    task = launcher.launch("/bin/sh", {"-c", script}, nullptr);
    ASSERT_NE(task, nullptr);
    ended = std::async(std::launch::async, [this] {
      output = task->readOutputToEnd(nullptr).value();
      task->waitUntilExit();
    });
  }
  // Until the script has got to its `sayReady`.
  void waitUntilReady() const {
    while (!std::filesystem::exists(folder.at("ready"))) {
      std::this_thread::sleep_for(1ms);
    }
  }
  // The number that stands in the line of the log which has the pattern in front of it.
  pid_t numberBehind(const std::string& words) const {
    for (const std::string& text : log.texts()) {
      if (const std::size_t at = text.find(words); at != std::string::npos) {
        return std::stoi(text.substr(at + words.size()));
      }
    }
    ADD_FAILURE() << "no line with " << words;
    return 0;
  }
  void kill(pid_t process) {
    if (process > 1) {
      ::kill(process, SIGKILL);
    }
    ended.wait();
  }
  bool goesOn() const { return ended.wait_for(0s) == std::future_status::timeout; }

  const ScratchFolder folder;
  const std::string sayReady = ": >" + folder.at("ready") + "; ";
  LinuxTaskLauncher launcher{watch};
  std::unique_ptr<LaunchedTask> task;
  std::future<void> ended;
  std::string output;
};

TEST_F(AwaitedProgram, ThatNeverEndsIsNamedUntilItIsEnded) {
  start("while :; do sleep 0.1; done");
  expectTold("^Waiting for sh \\([0-9]+\\) to end, for ");
  EXPECT_TRUE(goesOn());
  kill(numberBehind("Waiting for sh ("));
  EXPECT_EQ(task->terminationStatus(), SIGKILL);
  EXPECT_TRUE(isTold("^Waited for "));
}

TEST_F(AwaitedProgram, ThatIgnoresTerminationIsNamedUntilItIsKilled) {
  start("trap '' TERM INT HUP QUIT; echo all; " + sayReady + "while :; do sleep 0.1; done");
  waitUntilReady();
  expectTold("^Waiting for sh \\([0-9]+\\) to end, for ");
  const pid_t process = numberBehind("Waiting for sh (");
  ::kill(process, SIGTERM);
  std::this_thread::sleep_for(50ms);
  EXPECT_TRUE(goesOn());
  kill(process);
  EXPECT_EQ(output, "all\n");
}

TEST_F(AwaitedProgram, ThatStopsItselfIsSaidToBeStopped) {
  start("kill -STOP $$; exit 6");
  expectTold("^Waiting for sh \\([0-9]+\\), which is stopped, to end, for ");
  const pid_t process = numberBehind("Waiting for sh (");
  ASSERT_GT(process, 1);
  ::kill(process, SIGCONT);
  ended.wait();
  EXPECT_EQ(task->terminationStatus(), 6);
}

// As daemons do; the process that stays holds the pipe.
TEST_F(AwaitedProgram, ThatForksTwiceIsWaitedForByTheNameOfWhoIsLeft) {
  start("(setsid sleep 1000 & ) ; exit 4");
  expectTold("^Waiting for sleep \\([0-9]+\\) to close the output of sh \\([0-9]+\\), for ");
  EXPECT_TRUE(goesOn());
  kill(numberBehind("Waiting for sleep ("));
  EXPECT_EQ(task->terminationStatus(), 4);
}

TEST_F(AwaitedProgram, ThatClosesItsOutputIsWaitedForAllTheSame) {
  start("echo all; exec >&- 2>&-; " + sayReady + "while :; do sleep 0.1; done");
  waitUntilReady();
  expectTold("^Waiting for sh \\([0-9]+\\) to end, for ");
  EXPECT_TRUE(goesOn());
  kill(numberBehind("Waiting for sh ("));
  EXPECT_EQ(output, "all\n");
}

}  // namespace

}  // namespace marrow
