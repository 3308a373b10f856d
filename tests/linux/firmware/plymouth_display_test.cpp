// Progress on the real boot splash, and what happens when that hangs, dies or refuses.
#include "host/linux/linux_progress_display.h"
#include "host/linux/socket_address.h"
#include "tests/linux/firmware/linux_console.h"
#include "tests/linux/firmware/plymouth_machine.h"
#include "tests/linux/firmware/recorded_log.h"

#include <cerrno>
#include <cmath>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <limits>
#include <linux/kd.h>
#include <thread>

namespace marrow {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class PlymouthDisplayTest : public testing::Test {
 protected:
  PlymouthDisplayTest() { folder.write("tty1", ""); }

  std::unique_ptr<KQUnifiedProgressClient> showOn(const std::string& terminal) {
    display =
        std::make_unique<LinuxProgressDisplay>(log, LinuxProgressDisplay::Paths{terminal, splash});
    auto client = display->createClient("Marrow");
    client->showProgressUI();
    return client;
  }
  std::unique_ptr<KQUnifiedProgressClient> show() { return showOn(folder.path("tty1")); }
  std::string bar() const { return folder.read("tty1").value_or(""); }

  TemporaryFolder folder;
  PlymouthMachine machine;
  std::string splash = kPlymouthAddress;
  RecordedLog log;
  std::unique_ptr<LinuxProgressDisplay> display;
};

TEST_F(PlymouthDisplayTest, TheSplashIsShownForAnUpgradeAndGetsEachPercentage) {
  machine.start();
  const auto client = show();
  for (const float percentage : {0.0F, 0.7F, 42.0F, 41.0F, 99.9F, 100.0F}) {
    client->setProgress(percentage, true);
  }
  const std::string told = machine.endAndTakeLog();
  EXPECT_THAT(percentagesIn(told), ElementsAre(0, 0, 0, 42, 42, 99, 100));
  EXPECT_THAT(told, HasSubstr("system-upgrade"));
  EXPECT_THAT(told, HasSubstr("got show splash request"));
  EXPECT_EQ(bar(), "");
  EXPECT_THAT(log.texts(), IsEmpty());
}

// Any other would take the splash back to nothing.
TEST_F(PlymouthDisplayTest, TheSplashGetsNothingButPercentagesThatNeverFall) {
  machine.start();
  const auto client = show();
  const float infinity = std::numeric_limits<float>::infinity();
  for (const float percentage :
       {-infinity, -1.0F, std::nanf(""), 5.0F, 1.0F, 101.0F, 1e30F, infinity}) {
    client->setProgress(percentage, true);
  }
  EXPECT_THAT(percentagesIn(machine.endAndTakeLog()), ElementsAre(0, 0, 0, 5, 5, 100, 100, 100));
}

TEST_F(PlymouthDisplayTest, WhereNoSplashIsThereIsTheBarAlone) {
  const auto client = show();
  client->setProgress(1.0F, true);
  EXPECT_EQ(bar(), "1%\n");
  EXPECT_THAT(log.texts(), IsEmpty());
}

std::ptrdiff_t countDescriptors() {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return std::distance(begin(all), end(all));
}

TEST_F(PlymouthDisplayTest, WhereNoSplashIsNoDescriptorIsHeldForIt) {
  const auto before = countDescriptors();
  PlymouthConnection connection;
  EXPECT_EQ(connection.open(splash), ECONNREFUSED);
  EXPECT_EQ(countDescriptors(), before);
}

TEST_F(PlymouthDisplayTest, ASplashThatDiesLeavesTheTerminalToTheBar) {
  machine.start();
  const LinuxConsole console(true);
  const auto client = showOn(console.path());
  client->setProgress(10.0F, true);
  console.setMode(KD_GRAPHICS);  // as a splash that draws does, and undoes at its end
  machine.daemon().end();
  client->setProgress(11.0F, true);
  EXPECT_EQ(console.mode(), KD_TEXT);
  EXPECT_EQ(console.rows().at(9), std::string(38, ' ') + "11%");
  client->setProgress(12.0F, true);
  EXPECT_EQ(console.rows().at(9), std::string(38, ' ') + "12%");
  EXPECT_THAT(log.texts(), ElementsAre(StartsWith("The boot splash")));
}

TEST_F(PlymouthDisplayTest, ASplashThatHangsIsNotWaitedForWithoutEnd) {
  machine.start();
  const auto client = show();
  client->setProgress(10.0F, true);
  machine.daemon().suspend();
  client->setProgress(11.0F, true);
  client->setProgress(12.0F, true);
  EXPECT_EQ(bar(), "11%\n12%\n");
  EXPECT_THAT(log.texts(), ElementsAre(HasSubstr("timed out")));
}

TEST_F(PlymouthDisplayTest, ASplashThatHangsFromTheStartIsNotWaitedForWithoutEnd) {
  machine.start();
  machine.daemon().suspend();
  const auto client = show();
  client->setProgress(1.0F, true);
  EXPECT_EQ(bar(), "1%\n");
  EXPECT_THAT(log.texts(), ElementsAre(HasSubstr("timed out")));
}

// A splash that answers with these bytes and then hangs up.
class AnsweringSplash {
 public:
  AnsweringSplash(const std::string& path, std::string answers)
      : _listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)), _answers(std::move(answers)) {
    sockaddr_un address{};
    const socklen_t length = fillSocketAddress(path, address);
    EXPECT_EQ(::bind(_listener.number(), reinterpret_cast<const sockaddr*>(&address), length), 0);
    EXPECT_EQ(::listen(_listener.number(), 1), 0);
    _thread = std::thread([this] { serve(); });
  }
  AnsweringSplash(const AnsweringSplash&) = delete;
  AnsweringSplash& operator=(const AnsweringSplash&) = delete;
  ~AnsweringSplash() { _thread.join(); }

 private:
  void serve() const {
    const Descriptor client(::accept(_listener.number(), nullptr, nullptr));
    std::array<char, 64> request{};
    for (const char answer : _answers) {
      if (::read(client.number(), request.data(), request.size()) <= 0 ||
          ::send(client.number(), &answer, 1, MSG_NOSIGNAL) != 1) {
        return;
      }
    }
    EXPECT_GE(::read(client.number(), request.data(), request.size()), 0);
  }

  Descriptor _listener;
  const std::string _answers;
  std::thread _thread;
};

TEST_F(PlymouthDisplayTest, ASplashThatRefusesOrHangsUpLeavesTheBar) {
  const char received = '\6';
  const std::string refused = "\25";
  // Opened, turned to an upgrade, shown, told of nothing yet and of the first percentage.
  constexpr std::size_t kRequests = 5;
  for (std::size_t answered = 0; answered < kRequests; ++answered) {
    for (const std::string& last : {std::string(), refused}) {
      const std::string answers = std::string(answered, received) + last;
      splash = folder.path("splash" + std::to_string(answered) + (last.empty() ? "" : "r"));
      folder.write("tty1", "");
      const AnsweringSplash other(splash, answers);
      const auto client = show();
      client->setProgress(1.0F, true);
      EXPECT_EQ(bar(), "1%\n") << answers.size();
    }
  }
}

// It would show its own idea of the boot.
TEST_F(PlymouthDisplayTest, TheSplashIsToldOfNothingAsLongAsThereIsNothing) {
  machine.start();
  const auto client = show();
  EXPECT_THAT(percentagesIn(machine.endAndTakeLog()), ElementsAre(0));
}

TEST_F(PlymouthDisplayTest, ASplashAtNoAddressIsToldAndLeavesTheBar) {
  splash = "no address";
  show()->setProgress(1.0F, true);
  EXPECT_EQ(bar(), "1%\n");
  EXPECT_THAT(log.texts(), ElementsAre(HasSubstr("Invalid argument")));
}

}  // namespace
}  // namespace marrow
