#include "host/linux/linux_progress_display.h"

#include "host/linux/linux_graphics_server.h"
#include "tests/linux/firmware/pseudo_terminal.h"
#include "tests/linux/firmware/recorded_log.h"
#include "tests/linux/firmware/temporary_folder.h"

#include <cmath>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <sys/stat.h>

namespace marrow {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

class LinuxProgressDisplayTest : public testing::Test {
 protected:
  LinuxProgressDisplayTest() { folder.write("tty1", ""); }

  // A machine without a splash.
  LinuxProgressDisplay::Paths paths(const std::string& terminal) const {
    return {terminal, folder.path("splash")};
  }

  // What a client shows of these values, on something that is no terminal.
  std::string shown(const std::vector<float>& percentages) {
    LinuxProgressDisplay display(log, paths(folder.path("tty1")));
    const auto client = display.createClient("Marrow");
    client->showProgressUI();
    for (const float percentage : percentages) {
      client->setProgress(percentage, true);
    }
    return folder.read("tty1").value_or("");
  }

  TemporaryFolder folder;
  RecordedLog log;
};

TEST_F(LinuxProgressDisplayTest, EachWholePercentageIsALineWhereThereIsNoTerminal) {
  EXPECT_EQ(shown({0.0F, 0.4F, 1.0F, 1.9F, 50.5F, 99.99F, 100.0F}), "0%\n1%\n50%\n99%\n100%\n");
}

TEST_F(LinuxProgressDisplayTest, AValueBelowTheLastOneIsNotShown) {
  EXPECT_EQ(shown({50.0F, 20.0F, 49.9F, 50.0F, 51.0F, 100.0F, 0.0F, 100.0F}), "50%\n51%\n100%\n");
}

TEST_F(LinuxProgressDisplayTest, PercentagesNeverGoBackWhateverComes) {
  std::vector<float> percentages;
  for (int step = 0; step < 5000; ++step) {
    percentages.push_back(120.0F * std::sin(static_cast<float>(step * step)));
  }
  std::istringstream lines(shown(percentages));
  int last = -1;
  for (std::string line; std::getline(lines, line);) {
    ASSERT_GT(std::stoi(line), last) << line;
    last = std::stoi(line);
  }
  EXPECT_EQ(last, 100);
}

TEST_F(LinuxProgressDisplayTest, WhatLiesOutsideIsBroughtInsideAndWhatIsNoNumberIsNotShown) {
  const float infinity = std::numeric_limits<float>::infinity();
  EXPECT_EQ(shown({-infinity, -5.0F, std::nanf(""), 7.0F, std::nanf(""), infinity, 1e30F}),
            "0%\n7%\n100%\n");
}

TEST_F(LinuxProgressDisplayTest, NothingIsShownBeforeTheDisplayIs) {
  LinuxProgressDisplay display(log, paths(folder.path("tty1")));
  const auto client = display.createClient("Marrow");
  client->setProgress(3.0F, false);
  EXPECT_EQ(folder.read("tty1"), "");
  client->showProgressUI();
  EXPECT_EQ(folder.read("tty1"), "3%\n");
  client->showProgressUI();
  EXPECT_EQ(folder.read("tty1"), "3%\n");
}

TEST_F(LinuxProgressDisplayTest, APipeGetsLines) {
  const std::string path = folder.path("pipe");
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  const Descriptor reader(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  LinuxProgressDisplay display(log, paths(path));
  const auto client = display.createClient("Marrow");
  client->showProgressUI();
  client->setProgress(42.0F, true);
  std::array<char, 16> text{};
  ASSERT_EQ(::read(reader.number(), text.data(), text.size()), 4);
  EXPECT_STREQ(text.data(), "42%\n");
}

TEST_F(LinuxProgressDisplayTest, APipeWhoseReaderHasGoneEndsNothing) {
  const std::string path = folder.path("pipe");
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  Descriptor reader(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  LinuxProgressDisplay display(log, paths(path));
  const auto client = display.createClient("Marrow");
  client->showProgressUI();
  reader.reset();
  client->setProgress(42.0F, true);
  EXPECT_THAT(log.texts(), IsEmpty());
}

TEST_F(LinuxProgressDisplayTest, AMachineWithoutADisplaySaysSoOnceAndMakesNone) {
  folder.remove("tty1");
  LinuxProgressDisplay display(log, paths(folder.path("tty1")));
  for (int count = 0; count < 2; ++count) {
    const auto client = display.createClient("Marrow");
    client->showProgressUI();
    client->setProgress(1.0F, false);
  }
  EXPECT_THAT(log.texts(), ElementsAre(StartsWith("This machine has no progress display")));
  EXPECT_EQ(folder.read("tty1"), std::nullopt);
}

TEST_F(LinuxProgressDisplayTest, NothingIsTouchedBeforeItIsUsed) {
  LinuxProgressDisplay display(log, paths(folder.path("nowhere")));
  LinuxGraphicsServer server(log, folder.path("nowhere"));
  display.createClient("Marrow");
  EXPECT_THAT(log.texts(), IsEmpty());
}

TEST_F(LinuxProgressDisplayTest, EnablingDisplayUpdatesUnblanksTheConsole) {
  const PseudoTerminal terminal;
  LinuxGraphicsServer(log, terminal.path()).enableDisplayUpdates();
  EXPECT_EQ(terminal.takeText(), "\033[13]");
}

TEST_F(LinuxProgressDisplayTest, AMachineWithoutAConsoleSaysSoOnce) {
  LinuxGraphicsServer server(log, folder.path("nowhere"));
  server.enableDisplayUpdates();
  server.enableDisplayUpdates();
  EXPECT_THAT(log.texts(), ElementsAre(StartsWith("This machine has no console to unblank")));
}

}  // namespace
}  // namespace marrow
