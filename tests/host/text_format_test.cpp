#include "host/text_format.h"

#include "host/error_record.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace marrow {
namespace {

struct Described {
  std::string name;
  std::string description() const { return "<" + name + ">"; }
};

TEST(TextFormat, AFormatWithoutConversionsIsItsOwnText) {
  EXPECT_EQ(formatText("Daemon starting up..."), "Daemon starting up...");
  EXPECT_EQ(formatText(""), "");
}

TEST(TextFormat, ObjectsPrintTheirDescription) {
  EXPECT_EQ(formatText("at %@.", Described{"disk"}), "at <disk>.");
  EXPECT_EQ(formatText("%@", std::make_shared<Described>(Described{"disk"})), "<disk>");
  EXPECT_EQ(formatText("%@", std::make_shared<const Described>(Described{"disk"})), "<disk>");
  EXPECT_EQ(formatText("%@", std::optional(Described{"disk"})), "<disk>");
}

TEST(TextFormat, TextPrintsAsAnObjectAndAsAString) {
  const std::string text = "vda3";
  EXPECT_EQ(formatText("%@ %s", text, text), "vda3 vda3");
  EXPECT_EQ(formatText("%@ %s", std::string_view("a"), std::string_view("b")), "a b");
  EXPECT_EQ(formatText("%@ %s", "a", text.c_str()), "a vda3");
}

TEST(TextFormat, AnAbsentObjectPrintsNull) {
  EXPECT_EQ(formatText("%@", std::optional<std::string>()), "(null)");
  EXPECT_EQ(formatText("%@", std::shared_ptr<Described>()), "(null)");
  EXPECT_EQ(formatText("%@", ErrorRef()), "(null)");
  EXPECT_EQ(formatText("%s", static_cast<const char*>(nullptr)), "(null)");
}

TEST(TextFormat, AListPrintsItsElementsInParentheses) {
  EXPECT_EQ(formatText("%@", std::vector<std::string>()), "()");
  EXPECT_EQ(formatText("%@", std::vector<std::string>{"a"}), "(a)");
  EXPECT_EQ(formatText("%@", std::vector<std::string>{"a", "b"}), "(a, b)");
  EXPECT_EQ(formatText("%@", std::vector<Described>{{"a"}, {"b"}}), "(<a>, <b>)");
}

TEST(TextFormat, AListKeepsItsEmptyElements) {
  EXPECT_EQ(formatText("%@", std::vector<std::string>{"", "b", ""}), "(, b, )");
}

TEST(TextFormat, AListOfPointersPrintsAbsentElements) {
  const std::vector<std::shared_ptr<Described>> list = {
      nullptr, std::make_shared<Described>(Described{"a"})};
  EXPECT_EQ(formatText("%@", list), "((null), <a>)");
}

TEST(TextFormat, NumbersPrintInDecimal) {
  EXPECT_EQ(formatText("%d", std::numeric_limits<std::int32_t>::min()), "-2147483648");
  EXPECT_EQ(formatText("%u", std::numeric_limits<std::uint32_t>::max()), "4294967295");
  EXPECT_EQ(formatText("%lu", std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
  EXPECT_EQ(formatText("%llu", std::uint64_t{3}), "3");
}

TEST(TextFormat, AnAnnotationChangesNothing) {
  EXPECT_EQ(formatText("errno %{tarn.errno}d (%{public}s)", 2, "no"), "errno 2 (no)");
}

TEST(TextFormat, TwoPercentSignsPrintOne) { EXPECT_EQ(formatText("%d%% done", 5), "5% done"); }

TEST(TextFormat, AConversionInAnArgumentIsText) {
  EXPECT_EQ(formatText("%@ %@", "%@ %d %%", "b"), "%@ %d %% b");
}

TEST(TextFormat, ArgumentsTakeTheirPlacesInOrder) {
  EXPECT_EQ(formatText("%d (%s)", 5, "a"), "5 (a)");
  EXPECT_EQ(formatText("%@%@%@", "a", "b", "c"), "abc");
}

TEST(TextFormat, EachConversionAcceptsItsOwnKindOnly) {
  constexpr std::string_view kLetters[] = {"@", "s", "d", "u", "lu", "llu", "x", "ld", ""};
  const auto accepted = [&](ArgumentKind kind) {
    std::string text;
    for (const std::string_view letters : kLetters) {
      text += accepts(letters, kind) ? std::string(letters) + " " : "";
    }
    return text;
  };
  EXPECT_EQ(accepted(ArgumentKind::object), "@ ");
  EXPECT_EQ(accepted(ArgumentKind::text), "@ s ");
  EXPECT_EQ(accepted(ArgumentKind::signed32), "d ");
  EXPECT_EQ(accepted(ArgumentKind::unsigned32), "u ");
  EXPECT_EQ(accepted(ArgumentKind::unsigned64), "lu llu ");
}

// What a format is checked against; a wrong pair does not compile.
static_assert(argumentKind<std::string>() == ArgumentKind::text);
static_assert(argumentKind<const char*>() == ArgumentKind::text);
TEST(TextFormat, ALongTextThatIsMovedInAndHasRoomIsNotCopied) {
  std::optional<std::string> text(std::in_place, 1000, 'x');
  text->reserve(2000);
  const char* const place = text->data();
  const std::string line = formatText("Output: %@", std::move(text));
  EXPECT_EQ(line, "Output: " + std::string(1000, 'x'));
  EXPECT_EQ(line.data(), place);
}

TEST(TextFormat, ATextThatIsNotMovedInStaysAsItWas) {
  std::string text(1000, 'x');
  text.reserve(2000);
  formatText("Output: %@, %s", text, text);
  EXPECT_EQ(text, std::string(1000, 'x'));
}

static_assert(argumentKind<char[4]>() == ArgumentKind::text);
static_assert(argumentKind<int>() == ArgumentKind::signed32);
static_assert(argumentKind<const int&>() == ArgumentKind::signed32);
static_assert(argumentKind<std::uint32_t>() == ArgumentKind::unsigned32);
static_assert(argumentKind<std::uint64_t>() == ArgumentKind::unsigned64);
static_assert(argumentKind<ErrorRef>() == ArgumentKind::object);
static_assert(nextConversion("ab%{x}llu!", 0).letters == "llu");
static_assert(nextConversion("ab%{x}llu!", 0).begin == 2);
static_assert(nextConversion("ab%{x}llu!", 0).end == 9);
static_assert(nextConversion("ab", 0).begin == std::string_view::npos);
static_assert(nextConversion("%", 0).letters.empty());
static_assert(nextConversion("%{x", 0).letters.empty());

}  // namespace
}  // namespace marrow
