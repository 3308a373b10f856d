// Property lists that were made to do harm.
#include "host/linux/property_list_reader.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>

namespace marrow {

namespace {

std::string whyRefused(const std::string& text) {
  std::string problem;
  EXPECT_FALSE(readPropertyList(text, problem));
  return problem;
}

std::string deepList(int levels) {
  std::string open;
  std::string close;
  for (int level = 0; level < levels; ++level) {
    open += "<array>";
    close += "</array>";
  }
  return "<plist version=\"1.0\"><dict><key>k</key>" + open + close + "</dict></plist>";
}

TEST(HostilePropertyList, RefusesAMillionLevelsUnharmed) {
  constexpr int kLevels = 1'000'000;
  EXPECT_EQ(whyRefused(deepList(kLevels)), "line 1: more than 512 levels");
  std::string tags;
  for (int level = 0; level < kLevels; ++level) {
    tags += "<a>";
  }
  EXPECT_EQ(whyRefused(tags).substr(0, 5), "line ");
  EXPECT_EQ(whyRefused("<plist version=\"1.0\">" + tags).substr(0, 5), "line ");
}

// What a few lines would become if they were taken at their word: a hundred million characters.
TEST(HostilePropertyList, RefusesEntitiesThatGrow) {
  std::string declared = "<!DOCTYPE plist [<!ENTITY e0 \"0123456789\">";
  for (int level = 1; level <= 8; ++level) {
    const std::string below = "&e" + std::to_string(level - 1) + ";";
    declared += "<!ENTITY e" + std::to_string(level) + " \"";
    for (int count = 0; count < 10; ++count) {
      declared += below;
    }
    declared += "\">";
  }
  declared += "]>\n";
  const std::string list =
      "<plist version=\"1.0\"><dict><key>k</key><string>&e8;</string></dict></plist>";
  EXPECT_EQ(whyRefused(declared + list), "line 1: a document type with its own declarations");
  EXPECT_EQ(whyRefused(list).substr(0, 7), "line 1:");
}

TEST(HostilePropertyList, TakesTheLastOfAHundredThousandValuesOfAKey) {
  std::string inside;
  for (int number = 0; number < 100'000; ++number) {
    inside += "<key>k</key><integer>" + std::to_string(number) + "</integer>";
  }
  std::string problem;
  const auto read =
      readPropertyList("<plist version=\"1.0\"><dict>" + inside + "</dict></plist>", problem);
  ASSERT_TRUE(read) << problem;
  ASSERT_EQ(read->entries().size(), 1U);
  EXPECT_EQ(*read->find("k"), PropertyListValue(std::int64_t{99'999}));
}

}  // namespace

}  // namespace marrow
