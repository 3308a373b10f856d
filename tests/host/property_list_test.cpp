#include "host/property_list.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <string>

namespace marrow {
namespace {

std::string keysOf(const PropertyListDictionary& dictionary) {
  std::string keys;
  for (const PropertyListEntry& entry : dictionary.entries()) {
    keys += entry.key + " ";
  }
  return keys;
}

PropertyListValue text(const char* value) { return std::string(value); }

TEST(PropertyListDictionary, ANewOneIsEmpty) {
  const PropertyListDictionary dictionary;
  EXPECT_TRUE(dictionary.empty());
  EXPECT_EQ(dictionary.find("key"), nullptr);
}

TEST(PropertyListDictionary, FindsWhatWasSet) {
  PropertyListDictionary dictionary;
  dictionary.set("key", text("value"));
  ASSERT_NE(dictionary.find("key"), nullptr);
  EXPECT_EQ(*dictionary.find("key"), text("value"));
  EXPECT_EQ(dictionary.find("Key"), nullptr);
}

TEST(PropertyListDictionary, EntriesStayInTheOrderInWhichTheyWereSet) {
  PropertyListDictionary dictionary;
  for (const char* key : {"z", "a", "m"}) {
    dictionary.set(key, true);
  }
  EXPECT_EQ(keysOf(dictionary), "z a m ");
}

TEST(PropertyListDictionary, SettingAKeyAgainReplacesItsValueInPlace) {
  PropertyListDictionary dictionary;
  dictionary.set("a", true);
  dictionary.set("b", true);
  dictionary.set("a", text("new"));
  EXPECT_EQ(keysOf(dictionary), "a b ");
  EXPECT_EQ(*dictionary.find("a"), text("new"));
}

TEST(PropertyListDictionary, AFoundValueCanBeChanged) {
  PropertyListDictionary dictionary;
  dictionary.set("inner", PropertyListDictionary());
  dictionary.find("inner")->as<PropertyListDictionary>()->set("key", true);
  EXPECT_EQ(keysOf(*dictionary.find("inner")->as<PropertyListDictionary>()), "key ");
}

TEST(PropertyListDictionary, IsEqualOnlyInTheSameOrder) {
  PropertyListDictionary left;
  left.set("a", true);
  left.set("b", false);
  PropertyListDictionary right;
  right.set("b", false);
  right.set("a", true);
  EXPECT_NE(left, right);
  EXPECT_EQ(left, PropertyListDictionary(left));
}

TEST(PropertyListValue, IsOnlyOfTheTypeThatItWasMadeWith) {
  const PropertyListValue value = std::int64_t{1};
  ASSERT_NE(value.as<std::int64_t>(), nullptr);
  EXPECT_EQ(*value.as<std::int64_t>(), 1);
  EXPECT_EQ(value.as<bool>(), nullptr);
  EXPECT_EQ(value.as<std::string>(), nullptr);
}

TEST(PropertyListValue, ValuesOfDifferentTypesDiffer) {
  EXPECT_NE(PropertyListValue(true), PropertyListValue(std::int64_t{1}));
  EXPECT_NE(text("1"), PropertyListValue(PropertyListReal{"1"}));
}

TEST(PropertyListValue, ARealAndADateKeepTheirText) {
  EXPECT_NE(PropertyListValue(PropertyListReal{"1.0"}),
            PropertyListValue(PropertyListReal{"1.00"}));
  const PropertyListValue date = PropertyListDate{"2024-01-01T00:00:00Z"};
  EXPECT_EQ(date.as<PropertyListDate>()->text, "2024-01-01T00:00:00Z");
}

TEST(PropertyListTruth, ABooleanIsItself) {
  EXPECT_TRUE(PropertyListValue(true).truthValue());
  EXPECT_FALSE(PropertyListValue(false).truthValue());
}

TEST(PropertyListTruth, ANumberIsTrueUnlessItIsZero) {
  EXPECT_TRUE(PropertyListValue(std::int64_t{-1}).truthValue());
  EXPECT_FALSE(PropertyListValue(std::int64_t{0}).truthValue());
  EXPECT_TRUE(PropertyListValue(std::numeric_limits<std::uint64_t>::max()).truthValue());
  EXPECT_FALSE(PropertyListValue(std::uint64_t{0}).truthValue());
  EXPECT_TRUE(PropertyListValue(PropertyListReal{"0.5"}).truthValue());
  EXPECT_TRUE(PropertyListValue(PropertyListReal{"-1e-3"}).truthValue());
  EXPECT_FALSE(PropertyListValue(PropertyListReal{"0.00"}).truthValue());
  EXPECT_FALSE(PropertyListValue(PropertyListReal{"-0"}).truthValue());
}

TEST(PropertyListTruth, ARealIsTrueByItsDigitsHoweverLargeOrSmall) {
  for (const char* real : {"+1.5", "1e999", "-1e999", "1e-999", ".5", "+infinity", "-inf", "nan"}) {
    EXPECT_TRUE(PropertyListValue(PropertyListReal{real}).truthValue()) << real;
  }
  for (const char* real : {"+0.0", "0e5", "-0.000E+12", "0", ".0"}) {
    EXPECT_FALSE(PropertyListValue(PropertyListReal{real}).truthValue()) << real;
  }
}

TEST(PropertyListTruth, AnIntegerAtTheEndOfItsRangeIsTrue) {
  EXPECT_TRUE(PropertyListValue(std::numeric_limits<std::int64_t>::min()).truthValue());
  EXPECT_TRUE(PropertyListValue(std::uint64_t{1} << 63U).truthValue());
}

TEST(PropertyListTruth, ATextIsTrueByItsFirstCharacter) {
  for (const char* yes : {"YES", "yes", "y", "True", "t", "1", "9 lives", "Tomorrow"}) {
    EXPECT_TRUE(text(yes).truthValue()) << yes;
  }
  for (const char* no : {"", "NO", "no", "false", "0", "01", " yes", "\t1", "+1", "-1", "\n"}) {
    EXPECT_FALSE(text(no).truthValue()) << no;
  }
}

TEST(PropertyListTruth, NothingElseIsTrue) {
  EXPECT_FALSE(PropertyListValue(PropertyListArray{true}).truthValue());
  EXPECT_FALSE(PropertyListValue(PropertyListDictionary()).truthValue());
  EXPECT_FALSE(PropertyListValue(PropertyListData{std::byte{1}}).truthValue());
  EXPECT_FALSE(PropertyListValue(PropertyListDate{"2024-01-01T00:00:00Z"}).truthValue());
}

}  // namespace
}  // namespace marrow
