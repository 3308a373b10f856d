#include "tests/contract/system/system_world.h"

#include <cerrno>

namespace marrow {

namespace {

class LogContract : public SystemContract {
 protected:
  // Remembers what the hook is called with, and whether the log had it by then.
  LogHook remembering() {
    return [this](LogLevel level, const LogMessage& message) {
      EXPECT_EQ(level, message.level);
      const auto texts = world->loggedTexts();
      EXPECT_FALSE(texts.empty());
      if (!texts.empty()) {
        EXPECT_EQ(texts.back(), message.text);
      }
      seen.push_back(message);
    };
  }

  std::vector<LogMessage> seen;
};
INSTANTIATE_TEST_SUITE_P(Worlds, LogContract, bothWorlds(), nameOfWorld);

TEST_P(LogContract, HandsEachMessageToTheHookAfterItWasLogged) {
  world->log().setHook(LogLevel::debug, remembering());
  world->log().createHandle("com.corvane.Test", "Operations")->log(LogLevel::error, "a text");
  ASSERT_EQ(seen.size(), 1U);
  EXPECT_EQ(seen[0].level, LogLevel::error);
  EXPECT_EQ(seen[0].subsystem, "com.corvane.Test");
  EXPECT_EQ(seen[0].category, "Operations");
  EXPECT_EQ(seen[0].text, "a text");
}

TEST_P(LogContract, HandsOnWhatAMessageIsAndWhereItIsLogged) {
  world->log().setHook(LogLevel::debug, remembering());
  const auto handle = world->log().createHandle("com.corvane.Test", "");
  const unsigned line = __LINE__ + 1;
  handle->log(LogLevel::error, "a text", LogEvent::rebootFailed);
  handle->log(LogLevel::error, "another", LogEvent::none, {"file", 7, "function"});
  ASSERT_EQ(seen.size(), 2U);
  EXPECT_EQ(seen[0].origin.event, LogEvent::rebootFailed);
  EXPECT_STREQ(seen[0].origin.place.file, "tests/contract/system/log_test.cpp");
  EXPECT_EQ(seen[0].origin.place.line, line);
  EXPECT_EQ(seen[1].origin.event, LogEvent::none);
  EXPECT_STREQ(seen[1].origin.place.function, "function");
}

TEST_P(LogContract, CallsTheHookForMessagesAtLeastAsSevereAsItsMinimum) {
  world->log().setHook(LogLevel::info, remembering());
  const auto handle = world->log().createHandle("com.corvane.Test", "");
  for (const LogLevel level :
       {LogLevel::debug, LogLevel::info, LogLevel::standard, LogLevel::error, LogLevel::fault}) {
    handle->log(level, "text");
  }
  EXPECT_EQ(world->loggedTexts().size(), 5U);
  ASSERT_EQ(seen.size(), 4U);
  EXPECT_EQ(seen.front().level, LogLevel::info);
}

TEST_P(LogContract, HandsBackTheHookThatWasInstalled) {
  EXPECT_FALSE(world->log().setHook(LogLevel::info, remembering()));
  int calls = 0;
  const LogHook previous =
      world->log().setHook(LogLevel::info, [&](LogLevel, const LogMessage&) { ++calls; });
  world->log().createHandle("com.corvane.Test", "")->log(LogLevel::error, "text");
  EXPECT_EQ(calls, 1);
  EXPECT_TRUE(seen.empty());
  ASSERT_TRUE(previous);
  previous(LogLevel::error, {LogLevel::error, "com.corvane.Test", "", "text"});
  EXPECT_EQ(seen.size(), 1U);
}

TEST_P(LogContract, CallsNoHookOnceItIsTakenAway) {
  world->log().setHook(LogLevel::info, remembering());
  world->log().setHook(LogLevel::info, nullptr);
  world->log().createHandle("com.corvane.Test", "")->log(LogLevel::error, "text");
  EXPECT_TRUE(seen.empty());
}

TEST_P(LogContract, KeepsErrno) {
  const auto handle = world->log().createHandle("com.corvane.Test", "");
  world->log().setHook(LogLevel::debug, [](LogLevel, const LogMessage&) { errno = EIO; });
  errno = EXDEV;
  handle->log(LogLevel::error, "text");
  EXPECT_EQ(errno, EXDEV);
}

TEST_P(LogContract, RendersAMessageAsItsText) {
  EXPECT_EQ(world->log().render({LogLevel::info, std::nullopt, "Category", "the text"}),
            "the text");
}

}  // namespace

}  // namespace marrow
