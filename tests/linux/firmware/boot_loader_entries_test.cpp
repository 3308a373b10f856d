#include "host/linux/boot_loader_entries.h"

#include "tests/linux/firmware/loader_variables.h"
#include "tests/linux/firmware/recorded_log.h"
#include "tests/linux/firmware/temporary_folder.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace marrow {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// UTF-16LE of ASCII text, no terminator.
std::string wide(const std::string& text) {
  std::string bytes;
  for (const char c : text) {
    bytes += c;
    bytes += '\0';
  }
  return bytes;
}

const std::string kEnd(2, '\0');

class BootLoaderEntriesTest : public testing::Test {
 protected:
  void publish(const std::vector<std::string>& ids) {
    std::string bytes;
    for (const std::string& id : ids) {
      bytes += wide(id) + kEnd;
    }
    set("LoaderEntries", bytes);
  }
  void set(const std::string& name, const std::string& bytes) {
    ASSERT_EQ(store.write({name, kBootLoaderVendor}, bytes), 0);
  }

  TemporaryFolder folder;
  RecordedLog log;
  EFIVariableStore store{log, folder.path()};
  BootLoaderEntries entries{store};
};

TEST_F(BootLoaderEntriesTest, AChoiceIsUTF16LittleEndianWithItsTerminator) {
  EXPECT_EQ(entries.choose("ab", false), 0);
  EXPECT_EQ(folder.read(std::string("LoaderEntryDefault-") + kBootLoaderVendor),
            std::string("\7\0\0\0a\0b\0.\0c\0o\0n\0f\0\0\0", 20));
}

TEST_F(BootLoaderEntriesTest, ALoaderThatPublishesNothingIsGivenThePlainName) {
  EXPECT_EQ(entries.choose(kGroupEntry, false), 0);
  EXPECT_EQ(store.read(kLoaderDefault), wide(kGroupEntry + ".conf") + kEnd);
  EXPECT_EQ(store.read(kLoaderOneShot), std::nullopt);
}

TEST_F(BootLoaderEntriesTest, AChoiceForOneTimeLeavesTheLastingOne) {
  entries.choose("lasting", false);
  EXPECT_EQ(entries.choose(kGroupEntry, true), 0);
  EXPECT_EQ(store.read(kLoaderOneShot), wide(kGroupEntry + ".conf") + kEnd);
  EXPECT_EQ(store.read(kLoaderDefault), wide("lasting.conf") + kEnd);
}

TEST_F(BootLoaderEntriesTest, AnEntryThatIsNotAmongThePublishedOnesIsRefused) {
  entries.choose("old", false);
  publish({"auto-windows", kGroupEntry + ".conf.bak", "x" + kGroupEntry + ".conf", kGroupEntry});
  EXPECT_EQ(entries.choose(kGroupEntry, false), ENOENT);
  EXPECT_EQ(store.read(kLoaderDefault), wide("old.conf") + kEnd);
}

TEST_F(BootLoaderEntriesTest, AnEntryAmongThePublishedOnesIsChosen) {
  publish({"other.conf", kGroupEntry + ".conf"});
  EXPECT_EQ(entries.choose(kGroupEntry, false), 0);
  EXPECT_EQ(store.read(kLoaderDefault), wide(kGroupEntry + ".conf") + kEnd);
}

TEST_F(BootLoaderEntriesTest, AUnifiedKernelImageIsAnEntryToo) {
  publish({kGroupEntry + ".efi"});
  EXPECT_EQ(entries.choose(kGroupEntry, false), 0);
  EXPECT_EQ(store.read(kLoaderDefault), wide(kGroupEntry + ".efi") + kEnd);
}

TEST_F(BootLoaderEntriesTest, AnEntryWithABootCounterIsChosenByAPattern) {
  for (const char* const counter : {"+3", "+3-1", "+0-12"}) {
    publish({"other.conf", kGroupEntry + counter + ".conf"});
    EXPECT_EQ(entries.choose(kGroupEntry, false), 0);
    EXPECT_EQ(store.read(kLoaderDefault), wide(kGroupEntry + "*.conf") + kEnd) << counter;
  }
  publish({kGroupEntry + "+3-1.efi"});
  EXPECT_EQ(entries.choose(kGroupEntry, false), 0);
  EXPECT_EQ(store.read(kLoaderDefault), wide(kGroupEntry + "*.efi") + kEnd);
}

TEST_F(BootLoaderEntriesTest, WhatOnlyLooksLikeABootCounterIsNone) {
  for (const char* const tail : {"+", "+-1", "+3-", "+a", "-3", "3", "+3-1-1", "+3+1", "*"}) {
    publish({kGroupEntry + tail + ".conf"});
    EXPECT_EQ(entries.choose(kGroupEntry, false), ENOENT) << tail;
  }
}

TEST_F(BootLoaderEntriesTest, APlainEntryIsPreferredToACountedOne) {
  publish({kGroupEntry + "+3.conf", kGroupEntry + ".conf"});
  EXPECT_EQ(entries.choose(kGroupEntry, false), 0);
  EXPECT_EQ(store.read(kLoaderDefault), wide(kGroupEntry + ".conf") + kEnd);
}

TEST_F(BootLoaderEntriesTest, ThePublishedNamesAreComparedWithoutRegardToCase) {
  publish({"MARROW-6B29FC40-CA47-4067-B31D-00DD010662DA+2.CONF"});
  EXPECT_EQ(entries.choose(kGroupEntry, false), 0);
  EXPECT_EQ(store.read(kLoaderDefault), wide(kGroupEntry + "*.conf") + kEnd);
}

TEST_F(BootLoaderEntriesTest, AListThatCannotBeReadIsAFailureAndNotAMissingList) {
  folder.makeFolder(std::string("LoaderEntries-") + kBootLoaderVendor);
  EXPECT_EQ(entries.choose(kGroupEntry, false), EISDIR);
  EXPECT_EQ(store.read(kLoaderDefault), std::nullopt);
}

TEST_F(BootLoaderEntriesTest, TheListEndsEachNameWithAZeroCharacter) {
  EXPECT_THAT(decodeLoaderEntries(wide("one") + kEnd + wide("two") + kEnd),
              ElementsAre(u"one", u"two"));
  EXPECT_THAT(decodeLoaderEntries(wide("one") + kEnd + kEnd + wide("two")),
              ElementsAre(u"one", u"two"));
  EXPECT_THAT(decodeLoaderEntries(wide("one") + "x"), ElementsAre(u"one"));
  EXPECT_THAT(decodeLoaderEntries(std::string("\xe9\0\0\1", 4)), ElementsAre(u"\u00e9\u0100"));
  EXPECT_THAT(decodeLoaderEntries("x"), IsEmpty());
  EXPECT_THAT(decodeLoaderEntries({}), IsEmpty());
}

TEST_F(BootLoaderEntriesTest, ANameBeyondASCIIIsNoEntryOfOurs) {
  EXPECT_EQ(entryPattern({u"marrow-\u00e9.conf"}, "marrow-"), "");
}

TEST_F(BootLoaderEntriesTest, AChoiceForOneTimeThatThisBootCameFromIsForgotten) {
  for (const char* const choice : {"base.conf", "BASE.conf", "base*.conf", "b?se.conf"}) {
    set("LoaderEntrySelected", wide("base.conf") + kEnd);
    set("LoaderEntryOneShot", wide(choice) + kEnd);
    EXPECT_EQ(entries.forgetOneShotOfThisBoot(), 0);
    EXPECT_EQ(store.read(kLoaderOneShot), std::nullopt) << choice;
  }
}

TEST_F(BootLoaderEntriesTest, APatternMeansACountedEntryThatThisBootCameFrom) {
  set("LoaderEntrySelected", wide(kGroupEntry + "+2-1.conf") + kEnd);
  set("LoaderEntryOneShot", wide(kGroupEntry + "*.conf") + kEnd);
  EXPECT_EQ(entries.forgetOneShotOfThisBoot(), 0);
  EXPECT_EQ(store.read(kLoaderOneShot), std::nullopt);
}

TEST_F(BootLoaderEntriesTest, AChoiceForOneTimeOfAnotherEntryStays) {
  set("LoaderEntrySelected", wide("base.conf") + kEnd);
  set("LoaderEntryOneShot", wide("other.conf") + kEnd);
  EXPECT_EQ(entries.forgetOneShotOfThisBoot(), 0);
  EXPECT_EQ(store.read(kLoaderOneShot), wide("other.conf") + kEnd);
}

TEST_F(BootLoaderEntriesTest, AChoiceForOneTimeStaysWhereTheLoaderDoesNotTellWhatItStarted) {
  set("LoaderEntryOneShot", wide("base.conf") + kEnd);
  EXPECT_EQ(entries.forgetOneShotOfThisBoot(), 0);
  EXPECT_EQ(store.read(kLoaderOneShot), wide("base.conf") + kEnd);
}

TEST_F(BootLoaderEntriesTest, TheEntryOfThisBootIsChosenForTheNext) {
  for (const char* const entry : {"base.conf", "base.efi", "auto-base", "base+x.conf", "+3.conf"}) {
    set("LoaderEntrySelected", wide(entry) + kEnd);
    EXPECT_EQ(entries.repeatThisBoot(), 0);
    EXPECT_EQ(store.read(kLoaderOneShot), wide(entry) + kEnd);
  }
}

TEST_F(BootLoaderEntriesTest, ACountedEntryOfThisBootIsChosenByAPattern) {
  set("LoaderEntrySelected", wide("BASE+2-1.conf") + kEnd);
  EXPECT_EQ(entries.repeatThisBoot(), 0);
  EXPECT_EQ(store.read(kLoaderOneShot), wide("base*.conf") + kEnd);
  set("LoaderEntrySelected", wide("base+3.efi") + kEnd);
  EXPECT_EQ(entries.repeatThisBoot(), 0);
  EXPECT_EQ(store.read(kLoaderOneShot), wide("base*.efi") + kEnd);
}

TEST_F(BootLoaderEntriesTest, WhereTheLoaderDoesNotTellWhatItStartedNothingIsRepeated) {
  EXPECT_EQ(entries.repeatThisBoot(), ENOENT);
  set("LoaderEntrySelected", std::string("\xe9\0\0\0", 4));
  EXPECT_EQ(entries.repeatThisBoot(), EINVAL);
  EXPECT_EQ(store.read(kLoaderOneShot), std::nullopt);
}

TEST_F(BootLoaderEntriesTest, NothingToForgetIsNoFailure) {
  EXPECT_EQ(entries.forgetOneShotOfThisBoot(), 0);
}

}  // namespace
}  // namespace marrow
