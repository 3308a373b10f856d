#include "daemon/console_mirror.h"

#include "daemon/log_channels.h"
#include "tests/host/host_test.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace marrow {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

class ConsoleMirrorTest : public HostTest {
 protected:
  void install() { installConsoleMirror(machine.log, machine.files); }

  void say(const std::string& text, LogLevel level = LogLevel::standard) {
    machine.log.log({level, "com.corvane.Marrow", "", text});
  }

  // What the console shows so far.
  std::string console() { return machine.fileSystem.node("/dev/console")->content; }

  std::vector<std::string> fileCalls() const { return machine.journal.calls("Files."); }
};

TEST_F(ConsoleMirrorTest, InstallsAHookForInfoAndAbove) {
  install();
  EXPECT_THAT(machine.journal.calls("LogService.setHook"), ElementsAre("LogService.setHook info"));
}

TEST_F(ConsoleMirrorTest, InstallingDoesNotTouchTheConsole) {
  install();
  EXPECT_THAT(fileCalls(), IsEmpty());
}

TEST_F(ConsoleMirrorTest, AMessageIsOneLineOnTheConsole) {
  install();
  say("Daemon starting up...");
  EXPECT_EQ(console(), "com.corvane.Marrow: Daemon starting up...\n");
}

TEST_F(ConsoleMirrorTest, TheConsoleIsOpenedWrittenAndFlushedInThisOrder) {
  install();
  say("text");
  EXPECT_THAT(fileCalls(),
              ElementsAre("Files.open /dev/console writeOnly|append|noControllingTerminal",
                          StartsWith("Files.write /dev/console"), "Files.sync /dev/console"));
}

TEST_F(ConsoleMirrorTest, TheConsoleIsOpenedOnceAndStaysOpen) {
  install();
  say("one");
  say("two");
  EXPECT_EQ(console(), "com.corvane.Marrow: one\ncom.corvane.Marrow: two\n");
  EXPECT_THAT(machine.journal.calls("Files.open"), SizeIs(1));
  EXPECT_THAT(machine.journal.calls("Files.close"), IsEmpty());
  EXPECT_THAT(machine.files.openPaths(), ElementsAre("/dev/console"));
}

TEST_F(ConsoleMirrorTest, ADebugMessageIsNotMirrored) {
  install();
  say("hidden", LogLevel::debug);
  EXPECT_THAT(fileCalls(), IsEmpty());
  EXPECT_TRUE(machine.log.has(LogLevel::debug, "hidden"));
}

TEST_F(ConsoleMirrorTest, AnInfoMessageIsMirrored) {
  install();
  say("shown", LogLevel::info);
  EXPECT_EQ(console(), "com.corvane.Marrow: shown\n");
}

TEST_F(ConsoleMirrorTest, MoreSevereMessagesAreMirroredWithoutTheirLevel) {
  install();
  say("a", LogLevel::standard);
  say("b", LogLevel::error);
  say("c", LogLevel::fault);
  EXPECT_EQ(console(), "com.corvane.Marrow: a\ncom.corvane.Marrow: b\ncom.corvane.Marrow: c\n");
}

TEST_F(ConsoleMirrorTest, BothChannelsAreMirroredAlike) {
  install();
  log(generalLogChannel(), LogLevel::standard, "general");
  log(operationsLogChannel(), LogLevel::standard, "operations");
  EXPECT_EQ(console(), "com.corvane.Marrow: general\ncom.corvane.Marrow: operations\n");
}

TEST_F(ConsoleMirrorTest, AMessageOfAnotherSubsystemIsNotMirrored) {
  install();
  for (const char* subsystem : {"com.corvane.Marrow.host", "com.corvane.marrow", "com.corvane",
                                "com.corvane.Marrow ", ""}) {
    machine.log.log({LogLevel::fault, subsystem, "", "theirs"});
  }
  EXPECT_THAT(fileCalls(), IsEmpty());
}

TEST_F(ConsoleMirrorTest, AMessageWithoutASubsystemIsNotMirrored) {
  install();
  machine.log.log({LogLevel::fault, std::nullopt, "", "the machine's"});
  EXPECT_THAT(fileCalls(), IsEmpty());
}

TEST_F(ConsoleMirrorTest, AMessageOfAnotherSubsystemIsNotRendered) {
  install();
  machine.log.log({LogLevel::fault, "com.other", "", "theirs"});
  EXPECT_FALSE(machine.journal.contains("LogService.render"));
}

TEST_F(ConsoleMirrorTest, AMessageThatCannotBeRenderedIsNotMirrored) {
  install();
  machine.faults.fail("LogService.render", EINVAL).once();
  say("lost");
  EXPECT_THAT(fileCalls(), IsEmpty());
  say("kept");
  EXPECT_EQ(console(), "com.corvane.Marrow: kept\n");
}

TEST_F(ConsoleMirrorTest, PercentSignsOfAMessageArePlainText) {
  install();
  say("100%d %@ %");
  EXPECT_EQ(console(), "com.corvane.Marrow: 100%d %@ %\n");
}

TEST_F(ConsoleMirrorTest, ATextEndsAtItsFirstZeroByteAndTheLineStillEnds) {
  install();
  say(std::string("seen\0unseen", 11));
  EXPECT_EQ(console(), "com.corvane.Marrow: seen\n");
}

// ---- The count of a write is in UTF-16 code units.

TEST_F(ConsoleMirrorTest, ACharacterOfTwoBytesCostsTheNewline) {
  install();
  say("\xC3\xA9");
  EXPECT_EQ(console(), "com.corvane.Marrow: \xC3\xA9");
}

TEST_F(ConsoleMirrorTest, ACharacterOfThreeBytesCostsTwoBytes) {
  install();
  say("\xE2\x82\xAC 5");
  EXPECT_EQ(console(), "com.corvane.Marrow: \xE2\x82\xAC ");
}

TEST_F(ConsoleMirrorTest, ACharacterBeyondTheBasicPlaneCountsTwoAndCostsTwoBytes) {
  install();
  say("\xF0\x9F\x98\x80");
  EXPECT_EQ(console(), "com.corvane.Marrow: \xF0\x9F\x98");
}

TEST_F(ConsoleMirrorTest, TheNextLineFollowsWhereTheShortenedOneEnds) {
  install();
  say("caf\xC3\xA9 \xC3\xA9");
  say("next");
  EXPECT_EQ(console(), "com.corvane.Marrow: caf\xC3\xA9 \xC3\x63om.corvane.Marrow: next\n");
}

// ---- The hook that was there before.

TEST_F(ConsoleMirrorTest, ThePreviousHookIsCalledFirst) {
  std::vector<std::string> seen;
  machine.log.setHook(LogLevel::debug, [&](LogLevel level, const LogMessage& message) {
    EXPECT_THAT(fileCalls(), IsEmpty());
    EXPECT_EQ(level, LogLevel::error);
    EXPECT_EQ(message.level, LogLevel::error);
    EXPECT_EQ(message.subsystem, "com.corvane.Marrow");
    seen.push_back(message.text);
  });
  install();
  say("text", LogLevel::error);
  EXPECT_THAT(seen, ElementsAre("text"));
  EXPECT_EQ(console(), "com.corvane.Marrow: text\n");
}

TEST_F(ConsoleMirrorTest, AMessageOfAnotherSubsystemStillReachesThePreviousHook) {
  std::vector<std::string> seen;
  machine.log.setHook(LogLevel::debug, [&](LogLevel /*level*/, const LogMessage& message) {
    seen.push_back(message.text);
  });
  install();
  machine.log.log({LogLevel::standard, "com.other", "", "theirs"});
  machine.log.log({LogLevel::standard, std::nullopt, "", "the machine's"});
  EXPECT_THAT(seen, ElementsAre("theirs", "the machine's"));
}

TEST_F(ConsoleMirrorTest, AMessageThatCannotBeRenderedStillReachesThePreviousHook) {
  int seen = 0;
  machine.log.setHook(LogLevel::debug, [&](LogLevel, const LogMessage&) { ++seen; });
  install();
  machine.faults.fail("LogService.render", EINVAL);
  say("text");
  EXPECT_EQ(seen, 1);
}

// ---- A console that fails.

TEST_F(ConsoleMirrorTest, AnOpenThatFailsIsSaidOnStandardError) {
  install();
  machine.faults.fail("Files.open", EIO);
  testing::internal::CaptureStderr();
  say("text");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Error opening /dev/console: Input/output error\n");
}

TEST_F(ConsoleMirrorTest, AnOpenThatFailsIsTriedAgainWithTheNextMessage) {
  install();
  machine.faults.fail("Files.open", EACCES).times(2);
  testing::internal::CaptureStderr();
  say("one");
  say("two");
  say("three");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Error opening /dev/console: Permission denied\n"
            "Error opening /dev/console: Permission denied\n");
  EXPECT_EQ(console(), "com.corvane.Marrow: three\n");
  EXPECT_THAT(machine.journal.calls("Files.open"), SizeIs(3));
}

TEST_F(ConsoleMirrorTest, WithoutAConsoleTheWriteAndTheFlushFailAndNothingElse) {
  install();
  machine.faults.fail("Files.open", EIO);
  testing::internal::CaptureStderr();
  say("text");
  testing::internal::GetCapturedStderr();
  EXPECT_THAT(fileCalls(), SizeIs(3));
  EXPECT_TRUE(machine.log.has(LogLevel::standard, "text"));
  EXPECT_EQ(console(), "");
}

TEST_F(ConsoleMirrorTest, AWriteThatFailsIsIgnored) {
  install();
  machine.faults.fail("Files.write", EIO).once();
  say("lost");
  say("kept");
  EXPECT_EQ(console(), "com.corvane.Marrow: kept\n");
}

TEST_F(ConsoleMirrorTest, AShortWriteIsNotContinued) {
  install();
  machine.files.setTransferLimit(5);
  say("text");
  EXPECT_EQ(console(), "com.c");
  EXPECT_THAT(machine.journal.calls("Files.write"), SizeIs(1));
}

TEST_F(ConsoleMirrorTest, AFlushThatFailsIsIgnored) {
  install();
  machine.faults.fail("Files.sync", EINVAL);
  say("one");
  say("two");
  EXPECT_EQ(console(), "com.corvane.Marrow: one\ncom.corvane.Marrow: two\n");
}

TEST_F(ConsoleMirrorTest, ErrnoSurvivesAMirroredMessage) {
  install();
  machine.faults.fail("Files.open", EIO);
  testing::internal::CaptureStderr();
  errno = ENOSPC;
  log(generalLogChannel(), LogLevel::error, "text");
  EXPECT_EQ(errno, ENOSPC);
  testing::internal::GetCapturedStderr();
}

TEST_F(ConsoleMirrorTest, AMirrorThatIsInstalledAnewOpensTheConsoleAnew) {
  install();
  say("one");
  machine.log.setHook(LogLevel::info, nullptr);
  install();
  say("two");
  EXPECT_THAT(machine.journal.calls("Files.open"), SizeIs(2));
  EXPECT_EQ(console(), "com.corvane.Marrow: one\ncom.corvane.Marrow: two\n");
}

}  // namespace
}  // namespace marrow
