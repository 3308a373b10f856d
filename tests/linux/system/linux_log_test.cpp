#include "host/linux/linux_log.h"

#include "host/unicode.h"
#include "tests/contract/system/scratch_folder.h"
#include "tests/linux/system/text_files.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace marrow {

namespace {

class LinuxLogTest : public testing::Test {
 protected:
  void log(const std::string& text, const std::string& category = "",
           LogLevel level = LogLevel::standard) {
    service.createHandle("com.corvane.Marrow", category)->log(level, text);
  }

  std::vector<std::string> records() const {
    std::vector<std::string> found;
    std::ifstream file(recordsPath);
    for (std::string line; std::getline(file, line);) {
      found.push_back(line);
    }
    return found;
  }

  // The texts of the records behind a prefix that each of them has.
  std::string joined(const std::string& prefix) const {
    std::string text;
    for (const std::string& record : records()) {
      EXPECT_TRUE(record.starts_with(prefix)) << record;
      text += record.substr(std::min(prefix.size(), record.size()));
    }
    return text;
  }

  const ScratchFolder folder;
  const std::string recordsPath = folder.at("kmsg");
  const std::string switchPath = folder.at("printk_devkmsg");
  LinuxLog service{folder.at("no-journal"), {recordsPath, switchPath}};
};

TEST_F(LinuxLogTest, TouchesNothingUntilTheFirstMessage) {
  writeFile(recordsPath, "");
  writeFile(switchPath, "ratelimit\n");
  const auto handle = service.createHandle("com.corvane.Marrow", "");
  EXPECT_EQ(fileText(switchPath), "ratelimit\n");
}

TEST_F(LinuxLogTest, StopsTheKernelFromDroppingRecordsBeforeItWrites) {
  writeFile(recordsPath, "");
  writeFile(switchPath, "");
  log("text");
  EXPECT_EQ(fileText(switchPath), "on\n");
}

TEST_F(LinuxLogTest, WritesTheGeneralChannelWithoutACategory) {
  writeFile(recordsPath, "");
  log("Daemon starting up...");
  EXPECT_EQ(fileText(recordsPath), "<29>marrowd: Daemon starting up...\n");
}

TEST_F(LinuxLogTest, WritesTheCategoryInBrackets) {
  writeFile(recordsPath, "");
  log("text", "Operations");
  EXPECT_EQ(fileText(recordsPath), "<29>marrowd[Operations]: text\n");
}

TEST_F(LinuxLogTest, GivesEachLevelItsPriority) {
  writeFile(recordsPath, "");
  for (const LogLevel level :
       {LogLevel::debug, LogLevel::info, LogLevel::standard, LogLevel::error, LogLevel::fault}) {
    log("text", "", level);
  }
  EXPECT_EQ(fileText(recordsPath),
            "<31>marrowd: text\n<30>marrowd: text\n<29>marrowd: text\n<27>marrowd: text\n"
            "<26>marrowd: text\n");
}

TEST_F(LinuxLogTest, SplitsALongTextIntoRecordsThatTheKernelTakes) {
  writeFile(recordsPath, "");
  std::string text;
  for (int number = 0; number < 2000; ++number) {
    text += std::to_string(number) + ' ';
  }
  log(text, "Operations");
  EXPECT_EQ(joined("<29>marrowd[Operations]: "), text);
  for (const std::string& record : records()) {
    EXPECT_LE(record.size() + 1, kKernelLogRecordLimit);
  }
}

TEST_F(LinuxLogTest, SplitsBetweenCharacters) {
  for (const std::string character : {"ä", "€", "😀"}) {
    for (const std::string start : {"", "a", "aa", "aaa"}) {
      writeFile(recordsPath, "");
      std::string text = start;
      for (int number = 0; number < 1500; ++number) {
        text += character;
      }
      log(text);
      EXPECT_EQ(joined("<29>marrowd: "), text);
      for (const std::string& record : records()) {
        EXPECT_TRUE(isValidUTF8(record));
      }
    }
  }
}

TEST_F(LinuxLogTest, WritesATextThatFillsARecordAsOne) {
  writeFile(recordsPath, "");
  const std::string prefix = "<29>marrowd: ";
  log(std::string(kKernelLogRecordLimit - prefix.size() - 1, 'x'));
  EXPECT_EQ(records().size(), 1U);
  log(std::string(kKernelLogRecordLimit - prefix.size(), 'x'));
  EXPECT_EQ(records().size(), 3U);
}

TEST_F(LinuxLogTest, WritesAnEmptyText) {
  writeFile(recordsPath, "");
  log("");
  EXPECT_EQ(fileText(recordsPath), "<29>marrowd: \n");
}

TEST_F(LinuxLogTest, LosesNothingOfATextWithBytesThatAreNoText) {
  writeFile(recordsPath, "");
  log(std::string("a\0b", 3) + std::string(3000, '\xBF'));
  EXPECT_EQ(joined("<29>marrowd: "), "a\\x00b" + std::string(3000, '\xBF'));
}

TEST_F(LinuxLogTest, LeavesRoomForTheTextBesideALongCategory) {
  writeFile(recordsPath, "");
  log(std::string(500, 'x'), std::string(5000, 'c'));
  EXPECT_EQ(records().size(), 2U);
}

TEST_F(LinuxLogTest, OpensTheLogOnce) {
  writeFile(recordsPath, "");
  log("first");
  ASSERT_EQ(::rename(recordsPath.c_str(), folder.at("moved").c_str()), 0);
  log("second");
  EXPECT_EQ(fileText(folder.at("moved")), "<29>marrowd: first\n<29>marrowd: second\n");
}

TEST_F(LinuxLogTest, TriesAgainWhereTheLogWasMissing) {
  log("lost");
  writeFile(recordsPath, "");
  log("told");
  EXPECT_EQ(fileText(recordsPath), "<29>marrowd: told\n");
}

TEST_F(LinuxLogTest, KeepsErrnoWhenTheLogIsMissing) {
  errno = EXDEV;
  log("lost");
  EXPECT_EQ(errno, EXDEV);
}

TEST_F(LinuxLogTest, CallsTheHookAlsoWhenTheLogIsMissing) {
  int calls = 0;
  service.setHook(LogLevel::debug, [&](LogLevel, const LogMessage&) { ++calls; });
  log("lost");
  EXPECT_EQ(calls, 1);
}

TEST_F(LinuxLogTest, OutlivesAReaderThatGoes) {
  ASSERT_EQ(::mkfifo(recordsPath.c_str(), 0600), 0);
  Descriptor reader(::open(recordsPath.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  log("read");
  reader.reset();
  log("not read");
  sigset_t pending;
  sigpending(&pending);
  EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
}

TEST_F(LinuxLogTest, WaitsForAReaderThatIsSlow) {
  ASSERT_EQ(::mkfifo(recordsPath.c_str(), 0600), 0);
  const Descriptor reader(::open(recordsPath.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  std::thread writer([&] { log(std::string(300000, 'x')); });
  std::string read;
  while (std::count(read.begin(), read.end(), 'x') < 300000) {
    std::string buffer(4096, '\0');
    const ssize_t count = ::read(reader.number(), buffer.data(), buffer.size());
    read.append(buffer, 0, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    std::this_thread::yield();
  }
  writer.join();
  EXPECT_EQ(std::count(read.begin(), read.end(), 'x'), 300000);
}

TEST_F(LinuxLogTest, WaitsForAReaderThatSleepsOneSecondAtMost) {
  ASSERT_EQ(::mkfifo(recordsPath.c_str(), 0600), 0);
  const Descriptor reader(::open(recordsPath.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  ASSERT_GT(::fcntl(reader.number(), F_SETPIPE_SZ, 4096), 0);
  const auto start = std::chrono::steady_clock::now();
  log(std::string(100 * kKernelLogRecordLimit, 'x'));
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
  EXPECT_GT(took.count(), 0.9);
}

TEST_F(LinuxLogTest, KeepsTheRecordsOfManyThreadsWholeAndTogether) {
  writeFile(recordsPath, "");
  std::vector<std::thread> threads;
  for (char letter = 'a'; letter < 'i'; ++letter) {
    threads.emplace_back([this, letter] {
      for (int count = 0; count < 50; ++count) {
        log(std::string(2000, letter));
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  const std::string text = joined("<29>marrowd: ");
  ASSERT_EQ(text.size(), 8U * 50U * 2000U);
  for (std::size_t at = 0; at < text.size(); at += 2000) {
    EXPECT_EQ(text.substr(at, 2000), std::string(2000, text[at]));
  }
}

TEST_F(LinuxLogTest, LetsTheHookBeReplacedWhileOthersLog) {
  writeFile(recordsPath, "");
  std::atomic<int> calls = 0;
  std::atomic<bool> done = false;
  std::thread logger([&] {
    while (!done) {
      log("text");
    }
  });
  for (int count = 0; count < 500; ++count) {
    const LogHook previous =
        service.setHook(LogLevel::debug, [&](LogLevel, const LogMessage&) { ++calls; });
    EXPECT_EQ(static_cast<bool>(previous), count > 0);
  }
  while (calls == 0) {
    std::this_thread::yield();
  }
  done = true;
  logger.join();
  EXPECT_GT(calls, 0);
}

}  // namespace

}  // namespace marrow
