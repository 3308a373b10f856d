#include "host/linux/linux_log.h"
#include "host/linux/message_ids.h"
#include "host/unicode.h"
#include "tests/contract/system/scratch_folder.h"
#include "tests/linux/system/journal_receiver.h"
#include "tests/linux/system/text_files.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <thread>
#include <vector>

namespace marrow {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// More messages than any queue of a socket holds (sysctl net.unix.max_dgram_qlen).
constexpr int kTooMany = 2000;

class LinuxLogJournalTest : public testing::Test {
 protected:
  LinuxLogJournalTest() { writeFile(folder.at("kmsg"), ""); }

  void log(const std::string& text) {
    service.createHandle("com.corvane.Marrow", "Operations")->log(LogLevel::standard, text);
  }

  std::vector<std::string> texts(JournalReceiver& journal) const {
    std::vector<std::string> found;
    while (const auto entry = journal.next()) {
      found.push_back(entry->at("MESSAGE"));
    }
    return found;
  }

  std::string kernelLog() const { return fileText(folder.at("kmsg")); }

  const ScratchFolder folder;
  const std::string socketPath = folder.at("socket");
  LinuxLog service{socketPath, {folder.at("kmsg"), folder.at("no-switch")}};
};

constexpr char kRefusal[] =
    "<27>marrowd: The journal takes no messages: Connection refused. What it does not take goes to "
    "the kernel's log.\n";

TEST_F(LinuxLogJournalTest, TellsTheJournalWhatAMessageIsAndWhereItIsLogged) {
  JournalReceiver journal(socketPath);
  service.createHandle("com.corvane.Marrow", "Operations")
      ->log(LogLevel::error, "a text", LogEvent::migratorFailed, {"folder/file.cpp", 7, "execute"});
  EXPECT_EQ(journal.next(),
            (JournalFields{{"MESSAGE", "a text"},
                           {"PRIORITY", "3"},
                           {"SYSLOG_FACILITY", "3"},
                           {"SYSLOG_IDENTIFIER", "marrowd"},
                           {"SUBSYSTEM", "com.corvane.Marrow"},
                           {"CATEGORY", "Operations"},
                           {"MESSAGE_ID", std::string(messageID(LogEvent::migratorFailed))},
                           {"CODE_FILE", "folder/file.cpp"},
                           {"CODE_LINE", "7"},
                           {"CODE_FUNC", "execute"}}));
  EXPECT_THAT(kernelLog(), IsEmpty());
}

TEST_F(LinuxLogJournalTest, LeavesOutWhatIsNotKnown) {
  JournalReceiver journal(socketPath);
  service.log({LogLevel::info, std::nullopt, "", "a text"});
  EXPECT_EQ(journal.next(), (JournalFields{{"MESSAGE", "a text"},
                                           {"PRIORITY", "6"},
                                           {"SYSLOG_FACILITY", "3"},
                                           {"SYSLOG_IDENTIFIER", "marrowd"},
                                           {"CATEGORY", ""}}));
}

TEST_F(LinuxLogJournalTest, GivesEachLevelItsPriority) {
  JournalReceiver journal(socketPath);
  std::vector<std::string> priorities;
  for (const LogLevel level :
       {LogLevel::debug, LogLevel::info, LogLevel::standard, LogLevel::error, LogLevel::fault}) {
    service.log({level, std::nullopt, "", ""});
    priorities.push_back(journal.next()->at("PRIORITY"));
  }
  EXPECT_THAT(priorities, ElementsAre("7", "6", "5", "3", "2"));
}

TEST_F(LinuxLogJournalTest, TellsTextsWithAnyBytesWhole) {
  JournalReceiver journal(socketPath);
  std::string everyByte;
  for (int byte = 0; byte < 256; ++byte) {
    everyByte += static_cast<char>(byte);
  }
  for (const std::string& text :
       {everyByte, std::string("\n"), std::string("two\nlines\n"), std::string("a\0b", 3),
        std::string("NAME=value"), std::string()}) {
    log(text);
    EXPECT_EQ(journal.next()->at("MESSAGE"), text);
  }
}

TEST_F(LinuxLogJournalTest, TellsALargeTextInMemoryThatNobodyCanChange) {
  JournalReceiver journal(socketPath);
  const std::string text(kJournalTextLimit, 'x');
  log("small");
  log(text);
  EXPECT_EQ(journal.next()->at("MESSAGE"), "small");
  EXPECT_FALSE(journal.lastWasSealed());
  EXPECT_EQ(journal.next()->at("MESSAGE"), text);
  EXPECT_TRUE(journal.lastWasSealed());
}

TEST_F(LinuxLogJournalTest, SplitsWhatIsTooLargeForAnEntryBetweenCharacters) {
  JournalReceiver journal(socketPath);
  std::string text = "x";
  while (text.size() < (1U << 20U)) {
    text += "€\n";
  }
  log(text);
  std::string joined;
  while (const auto entry = journal.next()) {
    EXPECT_LE(entry->at("MESSAGE").size(), kJournalTextLimit);
    EXPECT_TRUE(isValidUTF8(entry->at("MESSAGE")));
    EXPECT_EQ(entry->at("CATEGORY"), "Operations");
    joined += entry->at("MESSAGE");
  }
  EXPECT_EQ(joined, text);
}

TEST_F(LinuxLogJournalTest, CallsTheHookOnceForALargeText) {
  const std::string text(3 * kJournalTextLimit, 'x');
  std::vector<std::string> seen;
  service.setHook(LogLevel::debug,
                  [&](LogLevel, const LogMessage& message) { seen.push_back(message.text); });
  log(text);
  EXPECT_THAT(seen, ElementsAre(text));
}

TEST_F(LinuxLogJournalTest, CallsTheHookAndKeepsErrno) {
  JournalReceiver journal(socketPath);
  std::vector<std::string> seen;
  service.setHook(LogLevel::debug,
                  [&](LogLevel, const LogMessage& message) { seen.push_back(message.text); });
  errno = EXDEV;
  log("taken");
  journal.end();
  log("not taken");
  EXPECT_EQ(errno, EXDEV);
  EXPECT_THAT(seen, ElementsAre("taken", HasSubstr("The journal takes no messages"), "not taken"));
}

TEST_F(LinuxLogJournalTest, TellsTheKernelAndNothingMoreWhereThereIsNoJournal) {
  log("text");
  EXPECT_EQ(kernelLog(), "<29>marrowd[Operations]: text\n");
}

TEST_F(LinuxLogJournalTest, FindsAJournalThatComesLate) {
  log("early");
  JournalReceiver journal(socketPath);
  log("late");
  EXPECT_THAT(texts(journal), ElementsAre("late"));
  EXPECT_EQ(kernelLog(), "<29>marrowd[Operations]: early\n");
}

TEST_F(LinuxLogJournalTest, TellsTheKernelOnceThatTheJournalHasGone) {
  JournalReceiver journal(socketPath);
  log("before");
  journal.end();
  log("first");
  log("second");
  EXPECT_THAT(kernelLog(), HasSubstr("The journal takes no messages: No such file or directory"));
  EXPECT_THAT(kernelLog(), HasSubstr("kernel's log.\n<29>marrowd[Operations]: first\n"
                                     "<29>marrowd[Operations]: second\n"));
}

TEST_F(LinuxLogJournalTest, TellsTheKernelOnceThatNobodyListens) {
  {
    JournalReceiver journal(folder.at("other"));
    ASSERT_EQ(::rename(folder.at("other").c_str(), socketPath.c_str()), 0);
  }
  log("first");
  log("second");
  EXPECT_EQ(kernelLog(), std::string(kRefusal) + "<29>marrowd[Operations]: first\n" +
                             "<29>marrowd[Operations]: second\n");
}

TEST_F(LinuxLogJournalTest, FindsAJournalThatWasStartedAnew) {
  {
    JournalReceiver journal(socketPath);
    log("first");
    EXPECT_THAT(texts(journal), ElementsAre("first"));
  }
  JournalReceiver journal(socketPath);
  log("second");
  EXPECT_THAT(texts(journal), ElementsAre("second"));
  EXPECT_THAT(kernelLog(), IsEmpty());
}

// A wait for each message would take longer than a test may.
TEST_F(LinuxLogJournalTest, WaitsForAJournalThatHangsOnceAndLosesNothing) {
  JournalReceiver journal(socketPath);
  std::string expected;
  for (int count = 0; count < kTooMany; ++count) {
    log(std::to_string(count) + ".");
  }
  EXPECT_THAT(kernelLog(), HasSubstr("The journal takes no messages: Connection timed out."));
  const std::size_t taken = texts(journal).size();
  EXPECT_GT(taken, 0U);
  for (std::size_t count = 0; count < kTooMany; ++count) {
    const bool inKernel =
        kernelLog().find(": " + std::to_string(count) + ".\n") != std::string::npos;
    EXPECT_EQ(inKernel, count >= taken) << count;
  }
}

TEST_F(LinuxLogJournalTest, TellsAJournalThatHungTheNextMessageAgain) {
  JournalReceiver journal(socketPath);
  while (kernelLog().empty()) {
    log("text");
  }
  texts(journal);
  const std::string before = kernelLog();
  log("next");
  EXPECT_THAT(texts(journal), ElementsAre("next"));
  EXPECT_EQ(kernelLog(), before);
}

TEST_F(LinuxLogJournalTest, WaitsForAJournalThatIsSlow) {
  JournalReceiver journal(socketPath);
  std::thread writer([&] {
    for (int count = 0; count < kTooMany; ++count) {
      log(std::to_string(count));
    }
  });
  for (int count = 0; count < kTooMany;) {
    if (const auto entry = journal.next()) {
      EXPECT_EQ(entry->at("MESSAGE"), std::to_string(count));
      ++count;
    } else {
      std::this_thread::yield();
    }
  }
  writer.join();
  EXPECT_THAT(kernelLog(), IsEmpty());
}

TEST_F(LinuxLogJournalTest, TakesTheMessagesOfManyThreads) {
  JournalReceiver journal(socketPath);
  std::vector<std::thread> threads;
  for (char letter = 'a'; letter < 'e'; ++letter) {
    threads.emplace_back([this, letter] {
      for (int count = 0; count < 100; ++count) {
        log(std::string(1, letter));
      }
    });
  }
  std::map<std::string, int> counts;
  for (int count = 0; count < 400;) {
    if (const auto entry = journal.next()) {
      ++counts[entry->at("MESSAGE")];
      ++count;
    } else {
      std::this_thread::yield();
    }
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(counts, (std::map<std::string, int>{{"a", 100}, {"b", 100}, {"c", 100}, {"d", 100}}));
}

TEST_F(LinuxLogJournalTest, TellsTheKernelWhereThePathIsNone) {
  LinuxLog log(folder.at(std::string(200, 'x')), {folder.at("kmsg"), folder.at("no-switch")});
  log.log({LogLevel::standard, std::nullopt, "", "text"});
  EXPECT_THAT(kernelLog(), HasSubstr("File name too long"));
  EXPECT_THAT(kernelLog(), HasSubstr("<29>marrowd: text\n"));
}

}  // namespace

}  // namespace marrow
