// The journal of systemd itself.
#include "host/linux/linux_log.h"
#include "host/linux/message_ids.h"
#include "tests/linux/system/journal_daemon.h"
#include "tests/linux/system/text_files.h"

#include <gmock/gmock.h>

namespace marrow {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;

constexpr char kOperations[] = "SUBSYSTEM=com.corvane.Marrow CATEGORY=Operations";

class LinuxLogJournaldTest : public testing::Test {
 protected:
  LinuxLogJournaldTest() {
    writeFile(folder.at("kmsg"), "");
    journal.start();
  }

  void log(const std::string& text, const std::string& category = "Operations") {
    service.createHandle("com.corvane.Marrow", category)->log(LogLevel::standard, text);
  }

  std::vector<std::string> texts(const std::string& matches) {
    std::vector<std::string> found;
    for (const JournalFields& entry : journal.entries(matches)) {
      found.push_back(entry.at("MESSAGE"));
    }
    return found;
  }

  std::string kernelLog() const { return fileText(folder.at("kmsg")); }

  const ScratchFolder folder;
  JournalDaemon journal;
  LinuxLog service{journal.socket(), {folder.at("kmsg"), folder.at("no-switch")}};
};

TEST_F(LinuxLogJournaldTest, KeepsEveryFieldOfAMessage) {
  service.createHandle("com.corvane.Marrow", "Operations")
      ->log(LogLevel::error, "a text", LogEvent::blessFailed, {"folder/file.cpp", 7, "execute"});
  journal.end();
  const auto entries =
      journal.entries("MESSAGE_ID=" + std::string(messageID(LogEvent::blessFailed)));
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_THAT(entries.front(), IsSupersetOf(JournalFields{{"MESSAGE", "a text"},
                                                          {"PRIORITY", "3"},
                                                          {"SYSLOG_FACILITY", "3"},
                                                          {"SYSLOG_IDENTIFIER", "marrowd"},
                                                          {"SUBSYSTEM", "com.corvane.Marrow"},
                                                          {"CATEGORY", "Operations"},
                                                          {"CODE_FILE", "folder/file.cpp"},
                                                          {"CODE_LINE", "7"},
                                                          {"CODE_FUNC", "execute"},
                                                          {"_TRANSPORT", "journal"}}));
  EXPECT_THAT(kernelLog(), IsEmpty());
}

TEST_F(LinuxLogJournaldTest, TellsTheChannelsApart) {
  log("Daemon starting up...", "");
  log("MWOperationQueue: Performing (MWUnmountContainerOperation)...");
  service.createHandle(kHostSubsystem, "")->log(LogLevel::standard, "of the host");
  journal.end();
  EXPECT_THAT(texts(kOperations),
              ElementsAre("MWOperationQueue: Performing (MWUnmountContainerOperation)..."));
  EXPECT_THAT(texts("SUBSYSTEM=com.corvane.Marrow CATEGORY="),
              ElementsAre("Daemon starting up..."));
  EXPECT_THAT(texts("SUBSYSTEM=com.corvane.Marrow.host"), ElementsAre("of the host"));
}

TEST_F(LinuxLogJournaldTest, KeepsTextsWithAnyBytesWhole) {
  const std::vector<std::string> sent = {"two\nlines\n",
                                         std::string("a\0b", 3),
                                         "\xFF\xBF",
                                         "",
                                         std::string(200000, 'y'),
                                         std::string(kJournalTextLimit, 'x')};
  for (const std::string& text : sent) {
    log(text);
  }
  journal.end();
  EXPECT_EQ(texts(kOperations), sent);
  EXPECT_THAT(kernelLog(), IsEmpty());
}

TEST_F(LinuxLogJournaldTest, KeepsEachPartOfALargeText) {
  std::string text;
  for (int number = 0; number < 200000; ++number) {
    text += std::to_string(number) + '\n';
  }
  log(text);
  journal.end();
  std::string joined;
  for (const std::string& part : texts(kOperations)) {
    joined += part;
  }
  EXPECT_EQ(joined, text);
}

TEST_F(LinuxLogJournaldTest, OutlivesAJournalThatHangs) {
  journal.halt();
  constexpr int kMessages = 1000;
  for (int count = 0; count < kMessages; ++count) {
    log(std::to_string(count) + ".");
  }
  journal.proceed();
  journal.end();
  EXPECT_THAT(kernelLog(), HasSubstr("The journal takes no messages: Connection timed out."));
  const std::vector<std::string> taken = texts(kOperations);
  for (std::size_t count = 0; count < kMessages; ++count) {
    const std::string text = std::to_string(count) + ".";
    const bool inJournal = count < taken.size() && taken[count] == text;
    const bool inKernel = kernelLog().find(": " + text + "\n") != std::string::npos;
    EXPECT_NE(inJournal, inKernel) << text;
  }
}

TEST_F(LinuxLogJournaldTest, FindsAJournalThatComesBack) {
  log("first");
  journal.end();
  log("second");
  journal.start();
  log("third");
  journal.end();
  EXPECT_THAT(texts(kOperations), ElementsAre("first", "third"));
  EXPECT_THAT(kernelLog(), HasSubstr("The journal takes no messages: "));
  EXPECT_THAT(kernelLog(), HasSubstr("<29>marrowd[Operations]: second\n"));
}

}  // namespace

}  // namespace marrow
