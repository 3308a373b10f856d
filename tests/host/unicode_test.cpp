#include "host/unicode.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>

namespace marrow {
namespace {

using std::string_view_literals::operator""sv;

TEST(ValidUTF8, TheEmptyTextIs) { EXPECT_TRUE(isValidUTF8("")); }

TEST(ValidUTF8, ZeroBytesAre) { EXPECT_TRUE(isValidUTF8("a\0b"sv)); }

TEST(ValidUTF8, TheFirstAndTheLastCharacterOfEachLengthAre) {
  for (const std::string_view text :
       {"\x00"sv, "\x7F"sv, "\xC2\x80"sv, "\xDF\xBF"sv, "\xE0\xA0\x80"sv, "\xEF\xBF\xBF"sv,
        "\xF0\x90\x80\x80"sv, "\xF4\x8F\xBF\xBF"sv, "\xED\x9F\xBF"sv, "\xEE\x80\x80"sv}) {
    EXPECT_TRUE(isValidUTF8(text)) << testing::PrintToString(text);
  }
}

TEST(ValidUTF8, OverlongFormsAreNot) {
  for (const std::string_view text :
       {"\xC0\x80"sv, "\xC1\xBF"sv, "\xE0\x9F\xBF"sv, "\xF0\x8F\xBF\xBF"sv}) {
    EXPECT_FALSE(isValidUTF8(text)) << testing::PrintToString(text);
  }
}

TEST(ValidUTF8, SurrogatesAreNot) {
  EXPECT_FALSE(isValidUTF8("\xED\xA0\x80"));
  EXPECT_FALSE(isValidUTF8("\xED\xBF\xBF"));
}

TEST(ValidUTF8, NothingBeyondTheLastCodePointIs) {
  EXPECT_FALSE(isValidUTF8("\xF4\x90\x80\x80"));
  EXPECT_FALSE(isValidUTF8("\xF5\x80\x80\x80"));
  EXPECT_FALSE(isValidUTF8("\xFF"));
}

TEST(ValidUTF8, ACharacterThatIsCutOffIsNot) {
  for (const std::string_view text : {"a\xC3"sv, "\xE2\x82"sv, "\xF0\x9F\x98"sv, "\xF0"sv}) {
    EXPECT_FALSE(isValidUTF8(text)) << testing::PrintToString(text);
  }
}

TEST(ValidUTF8, AContinuationByteAloneIsNot) { EXPECT_FALSE(isValidUTF8("a\x80z")); }

TEST(ValidUTF8, AWrongByteInsideACharacterIsNot) {
  EXPECT_FALSE(isValidUTF8("\xE2\x82z"));
  EXPECT_FALSE(isValidUTF8("\xF0\x9F\x98z"));
}

TEST(UTF16Length, AnASCIICharacterTakesOneUnit) {
  EXPECT_EQ(utf16Length(""), 0U);
  EXPECT_EQ(utf16Length("abc\n"), 4U);
}

TEST(UTF16Length, ACharacterOfTheBasicPlaneTakesOneUnit) {
  EXPECT_EQ(utf16Length("\xC3\xA9"), 1U);      // e-acute
  EXPECT_EQ(utf16Length("\xE2\x82\xAC"), 1U);  // euro sign
}

TEST(UTF16Length, ACharacterBeyondTheBasicPlaneTakesTwoUnits) {
  EXPECT_EQ(utf16Length("\xF0\x9F\x98\x80"), 2U);
  EXPECT_EQ(utf16Length("a\xF0\x9F\x98\x80z"), 4U);
}

TEST(UTF16Length, AByteOfNoCharacterTakesOneUnit) {
  EXPECT_EQ(utf16Length("\xFF\x80"), 2U);
  EXPECT_EQ(utf16Length("a\xE2\x82"), 3U);
}

}  // namespace
}  // namespace marrow
