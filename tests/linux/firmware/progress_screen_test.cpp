#include "host/linux/progress_screen.h"

#include "tests/linux/firmware/terminal_emulator.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace marrow {
namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAreArray;
using testing::HasSubstr;

constexpr ScreenSize kSmall = {25, 80};
constexpr int kDisplayRows = 17;  // of a screen of 25

using Rows = std::vector<std::string>;

Rows displayOf(const Rows& rows) { return {rows.begin(), rows.begin() + kDisplayRows}; }
Rows othersOf(const Rows& rows) { return {rows.begin() + kDisplayRows, rows.end()}; }

class ProgressScreenTest : public testing::TestWithParam<bool> {
 protected:
  void begin() { terminal.write(beginProgressScreen(kSmall)); }
  void show(int percentage) { terminal.write(progressScreen(kSmall, "Marrow", percentage)); }
  // What the display is when nobody has disturbed it.
  Rows undisturbed(int percentage) const {
    TerminalEmulator other(kSmall.rows, kSmall.columns, GetParam());
    other.write(beginProgressScreen(kSmall) + progressScreen(kSmall, "Marrow", percentage));
    return displayOf(other.rows());
  }

  TerminalEmulator terminal{kSmall.rows, kSmall.columns, GetParam()};
};

TEST_P(ProgressScreenTest, TheDisplayIsCenteredOnAClearScreen) {
  terminal.write("what the boot has said\r\n");
  begin();
  show(42);
  Rows expected(25);
  expected[5] = std::string(37, ' ') + "Marrow";
  expected[6] = std::string(15, ' ') + "Finishing the system update. Keep the machine on.";
  expected[8] = std::string(19, ' ') + "[" + std::string(16, ' ') + std::string(24, '.') + "]";
  expected[9] = std::string(38, ' ') + "42%";
  EXPECT_THAT(terminal.rows(), ElementsAreArray(expected));
  EXPECT_EQ(terminal.reversedCells(8), 16);  // 42 of 100 parts of 40
}

TEST_P(ProgressScreenTest, TheBarGrowsFromNothingToItsWhole) {
  begin();
  int last = -1;
  for (int percentage = 0; percentage <= 100; ++percentage) {
    show(percentage);
    EXPECT_GE(terminal.reversedCells(8), last);
    last = terminal.reversedCells(8);
    EXPECT_TRUE(percentage > 0 || last == 0);
  }
  EXPECT_EQ(last, 40);
}

TEST_P(ProgressScreenTest, LinesOfOthersStayBelowTheDisplay) {
  begin();
  show(0);
  for (int line = 1; line <= 100; ++line) {
    terminal.write("line " + std::to_string(line) + "\r\n");
    show(line);
    ASSERT_THAT(displayOf(terminal.rows()), ElementsAreArray(undisturbed(line)));
  }
  EXPECT_THAT(othersOf(terminal.rows()),
              ElementsAreArray({"line 94", "line 95", "line 96", "line 97", "line 98", "line 99",
                                "line 100", ""}));
}

TEST_P(ProgressScreenTest, ALineThatIsLongerThanARowStaysBelowTheDisplay) {
  begin();
  show(1);
  terminal.write(std::string(2000, 'x') + "\r\n");
  EXPECT_THAT(displayOf(terminal.rows()), ElementsAreArray(undisturbed(1)));
  show(2);
  EXPECT_THAT(displayOf(terminal.rows()), ElementsAreArray(undisturbed(2)));
}

TEST_P(ProgressScreenTest, ALineThatComesInPiecesStaysOne) {
  begin();
  show(1);
  terminal.write("one ");
  show(2);
  terminal.write("line");
  show(3);
  EXPECT_EQ(terminal.rows().back(), "one line");
  EXPECT_EQ(terminal.cursor().col, 8);
}

TEST_P(ProgressScreenTest, TheLookThatOthersHaveChosenStaysTheirs) {
  begin();
  terminal.write("\033[7m");
  show(0);
  EXPECT_EQ(terminal.reversedCells(9), 0);
  terminal.write("four");
  EXPECT_EQ(terminal.reversedCells(24), 4);
}

// A reset, a cleared screen, a cursor in the midst of the display, a scroll region of their own, a
// sequence that was cut short, another character set.
TEST_P(ProgressScreenTest, WhateverOthersDoTheNextDrawingRepairsIt) {
  for (const char* const harm : {"\033c", "\033[2J\033[H", "\033[5;30Hgarbage\r\n", "\033[1;5r",
                                 "\033[3", "\033]0;title", "\033(0\016", "\xe2\x96", "\033[?6h"}) {
    begin();
    show(10);
    terminal.write(harm);
    show(11);
    EXPECT_THAT(displayOf(terminal.rows()), ElementsAreArray(undisturbed(11))) << harm + 1;
    terminal.write("\r\n\r\nafter\r\n");
    EXPECT_THAT(displayOf(terminal.rows()), ElementsAreArray(undisturbed(11))) << harm + 1;
    terminal.write("\033c");
  }
}

TEST_P(ProgressScreenTest, TheEndGivesTheWholeTerminalBack) {
  begin();
  show(100);
  terminal.write(endProgressScreen());
  for (int line = 1; line <= 25; ++line) {
    terminal.write("\r\nline");
  }
  EXPECT_THAT(terminal.rows(), Each("line"));
}

INSTANTIATE_TEST_SUITE_P(CharacterSets, ProgressScreenTest, testing::Bool(),
                         [](const auto& set) { return set.param ? "UTF8" : "Bytes"; });

TEST(ProgressScreenSizeTest, TheDisplayIsReadableOnEveryScreenThatFits) {
  for (const ScreenSize size : {ScreenSize{9, 24}, ScreenSize{24, 80}, ScreenSize{25, 80},
                                ScreenSize{30, 90}, ScreenSize{67, 240}, ScreenSize{300, 600}}) {
    ASSERT_TRUE(fitsProgressScreen(size));
    TerminalEmulator terminal(size.rows, size.columns, true);
    terminal.write(beginProgressScreen(size));
    terminal.write(progressScreen(size, "Marrow", 100) + "last\r\n");
    const Rows rows = terminal.rows();
    EXPECT_THAT(rows, Contains(HasSubstr("Marrow"))) << size.rows;
    EXPECT_THAT(rows, Contains(HasSubstr("Finishing the"))) << size.rows;
    EXPECT_THAT(rows, Contains(HasSubstr("100%"))) << size.rows;
    EXPECT_EQ(std::ranges::count_if(rows, [](const auto& row) { return row.ends_with("]"); }), 1);
    EXPECT_EQ(rows.at(static_cast<std::size_t>(size.rows) - 2), "last") << size.rows;
  }
  EXPECT_FALSE(fitsProgressScreen({8, 80}));
  EXPECT_FALSE(fitsProgressScreen({25, 23}));
}

TEST(ProgressScreenSizeTest, ADrawingIsOnePieceForATerminal) {
  const std::string drawing = progressScreen({1000, 1000}, std::string(5000, 'x'), 100);
  EXPECT_LT(drawing.size(), 2048U);
  EXPECT_EQ(drawing.find_first_of("\r\n"), std::string::npos);
}

TEST(ProgressScreenTitleTest, WhatEveryConsoleCannotShowIsTold) {
  TerminalEmulator terminal(25, 80, false);
  terminal.write(beginProgressScreen(kSmall) +
                 progressScreen(kSmall, "\xc3\x89t\xc3\xa9 \033[2J\n", 5));
  EXPECT_THAT(terminal.rows(), Contains(HasSubstr("?t? ?[2J?")));
}

}  // namespace
}  // namespace marrow
