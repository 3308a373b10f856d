#include "tests/contract/system/system_world.h"

#include <cerrno>
#include <utility>

namespace marrow {

namespace {

using PropertyListFilesContract = SystemContract;
INSTANTIATE_TEST_SUITE_P(Worlds, PropertyListFilesContract, bothWorlds(), nameOfWorld);

PropertyListDictionary everyType() {
  PropertyListDictionary inner;
  inner.set("deep", PropertyListValue(std::string("value")));
  PropertyListArray array = {PropertyListValue(std::int64_t{-7}), PropertyListValue(false),
                             PropertyListValue(PropertyListArray())};
  PropertyListDictionary all;
  all.set("text", PropertyListValue(std::string("  <ä & \"ß\">\n\t ")));
  all.set("empty text", PropertyListValue(std::string()));
  all.set("", PropertyListValue(std::string("empty key")));
  all.set("truth", PropertyListValue(true));
  all.set("number", PropertyListValue(std::int64_t{42}));
  all.set("large", PropertyListValue(std::uint64_t{18446744073709551615U}));
  all.set("real", PropertyListValue(PropertyListReal{"-1.50e3"}));
  all.set("date", PropertyListValue(PropertyListDate{"2026-01-02T03:04:05Z"}));
  all.set("data", PropertyListValue(PropertyListData{std::byte{0}, std::byte{255}, std::byte{9}}));
  all.set("array", PropertyListValue(std::move(array)));
  all.set("dictionary", PropertyListValue(std::move(inner)));
  all.set("empty dictionary", PropertyListValue(PropertyListDictionary()));
  return all;
}

TEST_P(PropertyListFilesContract, ReadsBackWhatItWrote) {
  const PropertyListDictionary written = everyType();
  EXPECT_TRUE(world->propertyLists().writeDictionary(written, world->at("list")));
  ErrorRef error;
  const auto read = world->propertyLists().readDictionary(world->at("list"), &error);
  ASSERT_TRUE(read) << error->description();
  EXPECT_EQ(*read, written);
  EXPECT_EQ(error, nullptr);
}

TEST_P(PropertyListFilesContract, KeepsTheModeOfTheFileThatItReplaces) {
  EXPECT_TRUE(world->propertyLists().writeDictionary({}, world->at("list")));
  EXPECT_EQ(world->mode(world->at("list")), 0644U);
  world->setMode(world->at("list"), 0600);
  EXPECT_TRUE(world->propertyLists().writeDictionary(everyType(), world->at("list")));
  EXPECT_EQ(world->mode(world->at("list")), 0600U);
}

TEST_P(PropertyListFilesContract, LeavesNothingBesideTheFile) {
  EXPECT_TRUE(world->propertyLists().writeDictionary(everyType(), world->at("list")));
  EXPECT_TRUE(world->propertyLists().writeDictionary({}, world->at("list")));
  EXPECT_EQ(world->names(world->at("")), std::vector<std::string>{"list"});
}

TEST_P(PropertyListFilesContract, TellsThatAFileIsMissing) {
  ErrorRef error;
  EXPECT_FALSE(world->propertyLists().readDictionary(world->at("missing"), &error));
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->domain(), kPOSIXErrorDomain);
  EXPECT_EQ(error->code(), ENOENT);
}

TEST_P(PropertyListFilesContract, RefusesAFileThatIsNoPropertyList) {
  put(world->at("list"), "no property list");
  ErrorRef error;
  EXPECT_FALSE(world->propertyLists().readDictionary(world->at("list"), &error));
  EXPECT_NE(error, nullptr);
}

TEST_P(PropertyListFilesContract, RefusesAFolderAndAFIFO) {
  world->makeFolder(world->at("folder"));
  ASSERT_EQ(world->files().makeFIFO(world->at("fifo"), 0600), 0);
  ErrorRef error;
  EXPECT_FALSE(world->propertyLists().readDictionary(world->at("folder"), &error));
  EXPECT_NE(error, nullptr);
  error = nullptr;
  EXPECT_FALSE(world->propertyLists().readDictionary(world->at("fifo"), &error));
  EXPECT_NE(error, nullptr);
}

TEST_P(PropertyListFilesContract, ReadsAndWritesNothingThroughALink) {
  world->makeFolder(world->at("folder"));
  PropertyListDictionary dictionary;
  dictionary.set("key", std::string("value"));
  ASSERT_TRUE(world->propertyLists().writeDictionary(dictionary, world->at("folder/list")));
  world->makeLink(world->at("link"), "folder");
  world->makeLink(world->at("list"), "folder/list");
  for (const char* name : {"link/list", "list"}) {
    ErrorRef error;
    EXPECT_FALSE(world->propertyLists().readDictionary(world->at(name), &error)) << name;
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->code(), ELOOP) << name;
  }
  EXPECT_FALSE(world->propertyLists().writeDictionary({}, world->at("link/list")));
  EXPECT_EQ(world->propertyLists().readDictionary(world->at("folder/list"), nullptr), dictionary);
}

TEST_P(PropertyListFilesContract, NeedsNoErrorSlot) {
  EXPECT_FALSE(world->propertyLists().readDictionary(world->at("missing"), nullptr));
}

TEST_P(PropertyListFilesContract, FailsToWriteIntoAFolderThatIsMissing) {
  EXPECT_FALSE(world->propertyLists().writeDictionary({}, world->at("missing/list")));
}

}  // namespace

}  // namespace marrow
