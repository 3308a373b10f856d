#include "daemon/log_channels.h"

#include "tests/host/host_test.h"

#include <atomic>
#include <barrier>
#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace marrow {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

class LogChannels : public HostTest {
 protected:
  std::vector<std::string> creations() const {
    return machine.journal.calls("LogService.createHandle");
  }
};

TEST_F(LogChannels, TheGeneralChannelHasTheEmptyCategory) {
  log(generalLogChannel(), LogLevel::standard, "text");
  ASSERT_THAT(machine.log.messages(), SizeIs(1));
  const LogMessage message = machine.log.messages().front();
  EXPECT_EQ(message.subsystem, "com.corvane.Marrow");
  EXPECT_EQ(message.category, "");
  EXPECT_EQ(message.text, "text");
}

TEST_F(LogChannels, TheOperationsChannelHasItsCategory) {
  log(operationsLogChannel(), LogLevel::standard, "text");
  ASSERT_THAT(machine.log.messages(), SizeIs(1));
  EXPECT_EQ(machine.log.messages().front().subsystem, "com.corvane.Marrow");
  EXPECT_EQ(machine.log.messages().front().category, "Operations");
}

TEST_F(LogChannels, AMessageHasItsLevel) {
  for (const LogLevel level :
       {LogLevel::standard, LogLevel::info, LogLevel::debug, LogLevel::error, LogLevel::fault}) {
    machine.log.clear();
    log(generalLogChannel(), level, "text");
    EXPECT_EQ(machine.log.messages().front().level, level);
  }
}

TEST_F(LogChannels, AMessageIsFormatted) {
  log(generalLogChannel(), LogLevel::error, "%@ failed: %d (%s)", std::string("open"), 5, "why");
  EXPECT_THAT(machine.log.texts(), ElementsAre("open failed: 5 (why)"));
}

TEST_F(LogChannels, AMessageTellsWhereItIsLogged) {
  const unsigned line = __LINE__ + 1;
  log(generalLogChannel(), LogLevel::standard, "%d", 1);
  const SourcePlace place = machine.log.messages().front().origin.place;
  EXPECT_STREQ(place.file, "tests/daemon/log_channels_test.cpp");
  EXPECT_EQ(place.line, line);
  EXPECT_STREQ(place.function, "TestBody");
}

TEST_F(LogChannels, AMessageIsAnEventWhereItsLoggerSaysSo) {
  log(generalLogChannel(), LogLevel::standard, "%d", 1);
  log(generalLogChannel(), LogLevel::standard, LogEvent::rebootBegun, "%d", 2);
  ASSERT_THAT(machine.log.texts(), ElementsAre("1", "2"));
  EXPECT_EQ(machine.log.messages()[0].origin.event, LogEvent::none);
  EXPECT_EQ(machine.log.messages()[1].origin.event, LogEvent::rebootBegun);
}

TEST_F(LogChannels, AChannelIsCreatedOnFirstUseOnly) {
  EXPECT_THAT(creations(), SizeIs(0));
  LogHandle& first = generalLogChannel();
  LogHandle& second = generalLogChannel();
  EXPECT_EQ(&first, &second);
  EXPECT_THAT(creations(), ElementsAre("LogService.createHandle com.corvane.Marrow ''"));
  operationsLogChannel();
  operationsLogChannel();
  EXPECT_THAT(creations(), ElementsAre("LogService.createHandle com.corvane.Marrow ''",
                                       "LogService.createHandle com.corvane.Marrow 'Operations'"));
}

TEST_F(LogChannels, ErrnoSurvivesTheCreationOfAChannel) {
  errno = ENOSPC;
  generalLogChannel();
  EXPECT_EQ(errno, ENOSPC);
  errno = EROFS;
  operationsLogChannel();
  EXPECT_EQ(errno, EROFS);
  EXPECT_THAT(creations(), SizeIs(2));
}

TEST_F(LogChannels, TheFirstMessageShowsTheErrnoOfTheCallThatFailed) {
  errno = ENOSPC;
  log(generalLogChannel(), LogLevel::error, "%d", errno);
  EXPECT_THAT(machine.log.texts(), ElementsAre(std::to_string(ENOSPC)));
}

class ErrnoChangingHandle : public LogHandle {
 private:
  void write(LogLevel /*level*/, std::string /*text*/, const LogOrigin& /*origin*/) override {
    errno = EIO;
  }
};

TEST_F(LogChannels, ErrnoSurvivesAMessage) {
  ErrnoChangingHandle channel;
  errno = ENOSPC;
  log(channel, LogLevel::error, "%d", 3);
  EXPECT_EQ(errno, ENOSPC);
}

TEST_F(LogChannels, AnotherServiceDropsTheChannels) {
  generalLogChannel();
  InMemoryHost other;
  useLogService(&other.log);
  log(generalLogChannel(), LogLevel::standard, "there");
  EXPECT_THAT(machine.log.texts(), SizeIs(0));
  EXPECT_THAT(other.log.texts(), ElementsAre("there"));
  useLogService(&machine.log);
}

TEST_F(LogChannels, WithoutAServiceMessagesGoNowhere) {
  generalLogChannel();
  useLogService(nullptr);
  log(generalLogChannel(), LogLevel::fault, "lost");
  log(operationsLogChannel(), LogLevel::fault, "lost");
  EXPECT_THAT(machine.log.texts(), SizeIs(0));
  useLogService(&machine.log);
  log(generalLogChannel(), LogLevel::fault, "kept");
  EXPECT_THAT(machine.log.texts(), ElementsAre("kept"));
}

// A service whose handles are counted, and whose first two are made at the same moment.
class MeetingLogService : public LogService {
 public:
  class Handle : public LogHandle {
   public:
    explicit Handle(MeetingLogService& owner) : _owner(owner) { ++_owner.alive; }
    ~Handle() override { --_owner.alive; }

   private:
    void write(LogLevel /*level*/, std::string /*text*/, const LogOrigin& /*origin*/) override {
      ++_owner.logged;
    }

    MeetingLogService& _owner;
  };

  std::unique_ptr<LogHandle> createHandle(const std::string& /*subsystem*/,
                                          const std::string& /*category*/) override {
    ++created;
    auto handle = std::make_unique<Handle>(*this);
    _meeting.arrive_and_wait();
    return handle;
  }
  LogHook setHook(LogLevel /*minimum*/, LogHook hook) override { return hook; }
  std::optional<std::string_view> render(const LogMessage& message) override {
    return message.text;
  }

  std::atomic<int> created = 0;
  std::atomic<int> alive = 0;
  std::atomic<int> logged = 0;

 private:
  std::barrier<> _meeting{2};
};

TEST(LogChannelsOnThreads, WhenTwoThreadsCreateAChannelOneHandleStays) {
  MeetingLogService service;
  useLogService(&service);
  std::vector<LogHandle*> channels(2);
  std::vector<std::thread> threads;
  for (LogHandle*& channel : channels) {
    threads.emplace_back([&channel] {
      channel = &generalLogChannel();
      log(*channel, LogLevel::standard, "text");
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(channels[0], channels[1]);
  EXPECT_EQ(service.created, 2);
  EXPECT_EQ(service.alive, 1);
  EXPECT_EQ(service.logged, 2);
  useLogService(nullptr);
  EXPECT_EQ(service.alive, 0);
}

TEST_F(LogChannels, ManyThreadsLogOnBothChannelsAndNothingIsLost) {
  constexpr int kThreads = 8;
  constexpr int kMessages = 200;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([thread] {
      for (int message = 0; message < kMessages; ++message) {
        log(thread % 2 == 0 ? generalLogChannel() : operationsLogChannel(), LogLevel::standard,
            "%d", message);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_THAT(machine.log.textsOf(""), SizeIs(kThreads / 2 * kMessages));
  EXPECT_THAT(machine.log.textsOf("Operations"), SizeIs(kThreads / 2 * kMessages));
}

}  // namespace
}  // namespace marrow
