// The progress bar on terminals of the kernel: a virtual one, whose screen the kernel shows, and
// pseudo-terminals.
#include "host/linux/progress_bar.h"

#include "tests/linux/firmware/linux_console.h"
#include "tests/linux/firmware/pseudo_terminal.h"
#include "tests/linux/firmware/terminal_emulator.h"

#include <atomic>
#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <thread>

namespace marrow {
namespace {

using testing::Each;
using testing::HasSubstr;

using Rows = std::vector<std::string>;

class ProgressBarTest : public testing::TestWithParam<bool> {};

std::vector<std::string> expectedDisplay(int percentage, int shift) {
  Rows rows(17);
  rows[5] = std::string(37, ' ') + "Marrow";
  rows[6] = std::string(15, ' ') + "Finishing the system update. Keep the machine on.";
  const auto full = static_cast<std::size_t>(percentage * 40 / 100);
  rows[8] = std::string(19, ' ') + "[" + std::string(full, ' ') + std::string(40 - full, '.') + "]";
  rows[9] = std::string(static_cast<std::size_t>(shift), ' ') + std::to_string(percentage) + "%";
  return rows;
}

Rows displayPart(const Rows& rows) {
  return {rows.begin(), rows.begin() + std::min<std::ptrdiff_t>(17, std::ssize(rows))};
}

TEST_P(ProgressBarTest, TheKernelsConsoleShowsIt) {
  const LinuxConsole console(GetParam());
  ASSERT_EQ(console.rows().size(), 25U);
  ProgressBar bar("Marrow");
  ASSERT_EQ(bar.open(console.path()), 0);
  bar.show(42);
  EXPECT_EQ(displayPart(console.rows()), expectedDisplay(42, 38));
  EXPECT_EQ(console.reversedCells(8), 16);
}

TEST_P(ProgressBarTest, LinesOfOthersOnTheKernelsConsoleStayBelowIt) {
  const LinuxConsole console(GetParam());
  ProgressBar bar("Marrow");
  ASSERT_EQ(bar.open(console.path()), 0);
  bar.show(0);
  std::atomic<int> lines = 0;
  std::atomic<bool> done = false;
  std::thread others([&] {
    for (; !done; ++lines) {
      console.write("marrowd: a line that is longer than a row of the console, " +
                    std::string(100, 'x') + std::to_string(lines) + "\n");
    }
  });
  for (int percentage = 1; percentage <= 100; ++percentage) {
    while (lines < 2 * percentage) {
      std::this_thread::yield();
    }
    bar.show(percentage);
  }
  done = true;
  others.join();
  EXPECT_EQ(displayPart(console.rows()), expectedDisplay(100, 38));
  EXPECT_EQ(console.reversedCells(8), 40);
  const Rows rows = console.rows();
  EXPECT_THAT(Rows(rows.begin() + 17, rows.end() - 1), Each(testing::Not("")));
}

TEST_P(ProgressBarTest, AResetOfTheKernelsConsoleIsRepaired) {
  const LinuxConsole console(GetParam());
  ProgressBar bar("Marrow");
  ASSERT_EQ(bar.open(console.path()), 0);
  bar.show(7);
  console.write("\033c\033[5;5Hgarbage\033[7mmore");
  bar.redraw(7);
  EXPECT_EQ(displayPart(console.rows()), expectedDisplay(7, 39));
}

TEST_P(ProgressBarTest, TheKernelsConsoleIsGivenBackAtTheEnd) {
  const LinuxConsole console(GetParam());
  {
    ProgressBar bar("Marrow");
    ASSERT_EQ(bar.open(console.path()), 0);
    bar.show(100);
  }
  for (int line = 0; line < 25; ++line) {
    console.write("\nline");
  }
  EXPECT_THAT(console.rows(), Each("line"));
}

INSTANTIATE_TEST_SUITE_P(CharacterSets, ProgressBarTest, testing::Bool(),
                         [](const auto& set) { return set.param ? "UTF8" : "Bytes"; });

void resize(const PseudoTerminal& terminal, unsigned short rows, unsigned short columns) {
  const Descriptor opened(::open(terminal.path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
  const winsize size{rows, columns, 0, 0};
  ASSERT_EQ(::ioctl(opened.number(), TIOCSWINSZ, &size), 0);
}

TEST(ProgressBarTerminalTest, ATerminalThatDoesNotSayHowLargeItIsHasTheUsualSize) {
  const PseudoTerminal terminal;
  TerminalEmulator emulator(25, 80, true);
  ProgressBar bar("Marrow");
  ASSERT_EQ(bar.open(terminal.path()), 0);
  bar.show(3);
  emulator.write(terminal.takeText());
  EXPECT_EQ(displayPart(emulator.rows()), expectedDisplay(3, 39));
}

TEST(ProgressBarTerminalTest, ATerminalThatChangesItsSizeIsDrawnAnew) {
  const PseudoTerminal terminal;
  ProgressBar bar("Marrow");
  ASSERT_EQ(bar.open(terminal.path()), 0);
  bar.show(3);
  terminal.takeText();
  resize(terminal, 50, 132);
  bar.redraw(3);
  TerminalEmulator emulator(50, 132, true);
  emulator.write(terminal.takeText());
  EXPECT_THAT(emulator.rows().at(14), HasSubstr("Marrow"));
  EXPECT_EQ(emulator.cursor().row, 49);
}

TEST(ProgressBarTerminalTest, ATerminalThatIsTooSmallGetsLines) {
  const PseudoTerminal terminal;
  resize(terminal, 5, 20);
  ProgressBar bar("Marrow");
  ASSERT_EQ(bar.open(terminal.path()), 0);
  bar.show(3);
  bar.redraw(3);
  EXPECT_EQ(terminal.takeText(), "3%\r\n");
}

TEST(ProgressBarTerminalTest, ATerminalThatIsStoppedHoldsNobodyUp) {
  const PseudoTerminal terminal;
  const Descriptor opened(::open(terminal.path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
  ASSERT_EQ(::tcflow(opened.number(), TCOOFF), 0);
  ProgressBar bar("Marrow");
  ASSERT_EQ(bar.open(terminal.path()), 0);
  bar.show(3);
  EXPECT_EQ(terminal.takeText(), "");
  ASSERT_EQ(::tcflow(opened.number(), TCOON), 0);
  bar.show(4);
  EXPECT_THAT(terminal.takeText(), HasSubstr("4%"));
}

TEST(ProgressBarTerminalTest, AMissingTerminalIsTheStatusAndNothingIsShown) {
  ProgressBar bar("Marrow");
  EXPECT_EQ(bar.open("/dev/shm/no such terminal"), ENOENT);
  bar.show(1);
  bar.redraw(1);
}

}  // namespace
}  // namespace marrow
