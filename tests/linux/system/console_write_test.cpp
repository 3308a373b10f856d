// Lines for a console that is slow, stopped or read by nobody.
#include "host/linux/linux_files.h"
#include "tests/linux/firmware/pseudo_terminal.h"
#include "tests/linux/system/recorded_log.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <gtest/gtest.h>
#include <string_view>
#include <thread>

namespace marrow {

namespace {

class ConsoleWriteTest : public testing::Test {
 protected:
  // More than a terminal keeps for its reader.
  static std::string longText(char letter) { return std::string(300000, letter); }

  std::int64_t say(const std::string& text) {
    const std::array<std::string_view, 2> line{text, "\n"};
    return files.write(console, line);
  }

  PseudoTerminal terminal;
  RecordedLog log;
  WaitWatch waits{log};
  LinuxFiles files{waits};
  const int console = files.open(
      terminal.path(), OpenFlags::writeOnly | OpenFlags::append | OpenFlags::noControllingTerminal);
};

TEST_F(ConsoleWriteTest, ALineIsThereAtOnce) {
  EXPECT_EQ(say("text"), 5);
  EXPECT_EQ(terminal.takeText(), "text\r\n");
}

TEST_F(ConsoleWriteTest, AConsoleThatNobodyReadsIsGivenUp) {
  const std::string text = longText('x');
  const std::int64_t taken = say(text);
  EXPECT_GT(taken, 0);
  EXPECT_LT(taken, static_cast<std::int64_t>(text.size()));
  EXPECT_EQ(say("more"), -1);
  EXPECT_EQ(errno, EAGAIN);
}

TEST_F(ConsoleWriteTest, AConsoleThatIsReadAgainIsWrittenAgain) {
  say(longText('x'));
  say("dropped");
  terminal.takeText();
  EXPECT_EQ(say("text"), 5);
  EXPECT_EQ(terminal.takeText(), "text\r\n");
}

TEST_F(ConsoleWriteTest, AConsoleThatAPersonStopsIsGivenUpUntilItGoesOn) {
  terminal.stop();
  EXPECT_EQ(say("dropped"), -1);
  EXPECT_EQ(errno, EAGAIN);
  terminal.goOn();
  EXPECT_EQ(say("text"), 5);
  EXPECT_EQ(terminal.takeText(), "text\r\n");
}

TEST_F(ConsoleWriteTest, LongLinesOfSeveralThreadsComeWholeAndDoNotMix) {
  std::string shown;
  std::thread reader([&] {
    while (std::ranges::count(shown, '\n') < 2) {
      shown += terminal.takeText();
    }
  });
  std::thread other([&] { EXPECT_EQ(say(longText('a')), 300001); });
  EXPECT_EQ(say(longText('b')), 300001);
  other.join();
  reader.join();
  const std::string a = longText('a') + "\r\n";
  const std::string b = longText('b') + "\r\n";
  EXPECT_TRUE(shown == a + b || shown == b + a);
}

}  // namespace
}  // namespace marrow
