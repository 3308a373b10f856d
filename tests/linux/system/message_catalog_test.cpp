// The catalog of the messages (packaging/marrowd.catalog), as the journal's own program reads it.
#include "host/linux/message_ids.h"
#include "tests/contract/system/scratch_folder.h"
#include "tests/linux/system/text_files.h"

#include <cstdlib>
#include <gmock/gmock.h>
#include <regex>
#include <set>

namespace marrow {

namespace {

std::set<std::string> idsOfEvents() {
  std::set<std::string> ids;
  for (unsigned event = 1; event < kLogEventCount; ++event) {
    ids.emplace(messageID(static_cast<LogEvent>(event)));
  }
  return ids;
}

// The identifiers at the starts of the lines that journalctl lists.
std::set<std::string> idsIn(const std::string& list) {
  std::set<std::string> ids;
  const std::regex line("([0-9a-f]{32}) marrowd: .+\n");
  for (std::sregex_iterator at(list.begin(), list.end(), line), end; at != end; ++at) {
    ids.insert((*at)[1]);
  }
  return ids;
}

TEST(MessageIDs, AreOfEachEventItsOwn) {
  EXPECT_EQ(messageID(LogEvent::none), "");
  EXPECT_EQ(idsOfEvents().size(), kLogEventCount - 1);
  for (const std::string& id : idsOfEvents()) {
    EXPECT_TRUE(std::regex_match(id, std::regex("[0-9a-f]{32}"))) << id;
  }
}

TEST(MessageCatalog, ExplainsEachEventAndNothingElse) {
  const ScratchFolder root;
  const std::string places = root.at("usr/lib/systemd/catalog");
  std::filesystem::create_directories(places);
  std::filesystem::create_directories(root.at("var/lib/systemd/catalog"));
  std::filesystem::copy(MARROW_CATALOG, places);
  const std::string journalctl = "journalctl --root=" + root.path();
  const std::string words = root.at("words");
  ASSERT_EQ(std::system((journalctl + " --update-catalog >" + words + " 2>&1").c_str()), 0);
  EXPECT_EQ(fileText(words), "");
  ASSERT_EQ(std::system((journalctl + " --list-catalog >" + words).c_str()), 0);
  EXPECT_EQ(idsIn(fileText(words)), idsOfEvents());
}

}  // namespace

}  // namespace marrow
