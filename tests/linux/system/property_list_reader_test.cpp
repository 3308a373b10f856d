#include "host/linux/property_list_reader.h"

#include "host/linux/property_list_writer.h"

#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>
#include <utility>

namespace marrow {

namespace {

std::string document(const std::string& inside) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>" + inside +
         "</dict>\n</plist>\n";
}

// The value of the only key.
std::optional<PropertyListValue> valueOf(const std::string& element) {
  std::string problem;
  const auto read = readPropertyList(document("<key>k</key>" + element), problem);
  EXPECT_TRUE(read) << element << ": " << problem;
  return read ? std::optional(*read->find("k")) : std::nullopt;
}

std::string problemOf(const std::string& text) {
  std::string problem;
  EXPECT_FALSE(readPropertyList(text, problem)) << text;
  return problem;
}

std::string problemOfValue(const std::string& element) {
  return problemOf(document("<key>k</key>" + element));
}

PropertyListValue integer(std::int64_t number) { return PropertyListValue(number); }
PropertyListValue string(const char* text) { return PropertyListValue(std::string(text)); }

PropertyListValue data(std::initializer_list<unsigned char> bytes) {
  PropertyListData held;
  for (const unsigned char byte : bytes) {
    held.push_back(static_cast<std::byte>(byte));
  }
  return PropertyListValue(std::move(held));
}

TEST(PropertyListReader, ReadsIntegersOfEachForm) {
  EXPECT_EQ(valueOf("<integer>0</integer>"), integer(0));
  EXPECT_EQ(valueOf("<integer>-7</integer>"), integer(-7));
  EXPECT_EQ(valueOf("<integer>+7</integer>"), integer(7));
  EXPECT_EQ(valueOf("<integer> \n12\t</integer>"), integer(12));
  EXPECT_EQ(valueOf("<integer>0x1F</integer>"), integer(31));
  EXPECT_EQ(valueOf("<integer>-0xa</integer>"), integer(-10));
  EXPECT_EQ(valueOf("<integer>9223372036854775807</integer>"),
            integer(std::numeric_limits<std::int64_t>::max()));
  EXPECT_EQ(valueOf("<integer>-9223372036854775808</integer>"),
            integer(std::numeric_limits<std::int64_t>::min()));
  EXPECT_EQ(valueOf("<integer>18446744073709551615</integer>"),
            PropertyListValue(std::numeric_limits<std::uint64_t>::max()));
}

TEST(PropertyListReader, RefusesWhatIsNoInteger) {
  for (const std::string text : {"", "-", "0x", "1.5", "12a", "--1", "+-1", "1 2", "0x1G",
                                 "18446744073709551616", "-9223372036854775809"}) {
    EXPECT_EQ(problemOfValue("<integer>" + text + "</integer>"), "line 3: no valid <integer>")
        << text;
  }
}

TEST(PropertyListReader, KeepsTheTextOfRealsAndDates) {
  EXPECT_EQ(valueOf("<real>1.50</real>"), PropertyListValue(PropertyListReal{"1.50"}));
  EXPECT_EQ(valueOf("<real> -2e-3 </real>"), PropertyListValue(PropertyListReal{"-2e-3"}));
  EXPECT_EQ(valueOf("<real>nan</real>"), PropertyListValue(PropertyListReal{"nan"}));
  EXPECT_EQ(valueOf("<real>+infinity</real>"), PropertyListValue(PropertyListReal{"+infinity"}));
  EXPECT_EQ(valueOf("<date>2026-02-28T23:59:60Z</date>"),
            PropertyListValue(PropertyListDate{"2026-02-28T23:59:60Z"}));
}

TEST(PropertyListReader, RefusesWhatIsNoRealOrDate) {
  for (const char* element : {"<real/>", "<real>x</real>", "<real>1.5x</real>", "<real>+-1</real>",
                              "<date/>", "<date>2026-13-01T00:00:00Z</date>",
                              "<date>2026-01-01T00:00:00</date>", "<date>yesterday</date>"}) {
    EXPECT_NE(problemOfValue(element).find("no valid"), std::string::npos) << element;
  }
}

TEST(PropertyListReader, ReadsDataAndIgnoresWhiteSpaceInIt) {
  EXPECT_EQ(valueOf("<data/>"), data({}));
  EXPECT_EQ(valueOf("<data>\n\tAAEC\n\t/w==\n</data>"), data({0, 1, 2, 255}));
  EXPECT_EQ(valueOf("<data>TWE=</data>"), data({'M', 'a'}));
}

TEST(PropertyListReader, RefusesWhatIsNoData) {
  for (const char* element :
       {"<data>A</data>", "<data>AAA</data>", "<data>AA=A</data>", "<data>A===</data>",
        "<data>====</data>", "<data>AA-_</data>", "<data>AA==AAAA</data>"}) {
    EXPECT_EQ(problemOfValue(element), "line 3: no valid <data>") << element;
  }
}

TEST(PropertyListReader, KeepsEveryCharacterOfAString) {
  EXPECT_EQ(valueOf("<string>  two\n lines\t</string>"), string("  two\n lines\t"));
  EXPECT_EQ(valueOf("<string>   </string>"), string("   "));
  EXPECT_EQ(valueOf("<string></string>"), string(""));
  EXPECT_EQ(valueOf("<string/>"), string(""));
  EXPECT_EQ(valueOf("<string>a\r\nb\rc</string>"), string("a\nb\nc"));
  EXPECT_EQ(valueOf("<string>äß😀</string>"), string("äß😀"));
}

TEST(PropertyListReader, PutsEntitiesAndCharactersIn) {
  EXPECT_EQ(valueOf("<string>&amp;&lt;&gt;&quot;&apos;</string>"), string("&<>\"'"));
  EXPECT_EQ(valueOf("<string>&#65;&#x42;&#xe4;&#x20AC;&#128512;&#13;</string>"), string("ABä€😀\r"));
  EXPECT_EQ(valueOf("<string>&amp;lt;</string>"), string("&lt;"));
}

TEST(PropertyListReader, ReadsAroundCommentsAndInsideSections) {
  EXPECT_EQ(valueOf("<string>a<!-- & <b> -->b<![CDATA[<&amp;>]]>c</string>"), string("ab<&amp;>c"));
  EXPECT_EQ(valueOf("<!-- before --><true/><!-- after -->"), PropertyListValue(true));
  EXPECT_EQ(valueOf("<?pi text?><false> </false>"), PropertyListValue(false));
}

TEST(PropertyListReader, RefusesEveryOtherReference) {
  for (const char* text :
       {"&nbsp;", "&x;", "&", "& ", "&amp", "&#;", "&#x;", "&#0;", "&#8;", "&#xD800;", "&#xFFFE;",
        "&#x110000;", "&#-1;", "&#99999999999;", "&;", "&AMP;"}) {
    EXPECT_EQ(problemOfValue(std::string("<string>") + text + "</string>"),
              "line 3: a reference to what XML does not know")
        << text;
  }
}

TEST(PropertyListReader, ReadsDictionariesAndArraysInOrder) {
  std::string problem;
  const auto read = readPropertyList(
      document("<key>b</key><array><true/> <string>x</string><array/><dict/></array>"
               "\n<key>a</key><dict><key></key><integer>1</integer></dict>"),
      problem);
  ASSERT_TRUE(read) << problem;
  ASSERT_EQ(read->entries().size(), 2U);
  EXPECT_EQ(read->entries()[0].key, "b");
  EXPECT_EQ(read->entries()[0].value.as<PropertyListArray>()->size(), 4U);
  EXPECT_EQ(*read->find("a")->as<PropertyListDictionary>()->find(""), integer(1));
}

TEST(PropertyListReader, TakesTheLastValueOfAKey) {
  std::string problem;
  const auto read = readPropertyList(
      document("<key>a</key><true/><key>b</key><true/><key>a</key><string>x</string>"), problem);
  ASSERT_TRUE(read);
  ASSERT_EQ(read->entries().size(), 2U);
  EXPECT_EQ(*read->find("a"), string("x"));
}

TEST(PropertyListReader, SkipsADocumentTypeThatDeclaresNothing) {
  for (const char* type :
       {"<!DOCTYPE plist>", "<!DOCTYPE plist SYSTEM \"file:///none\">",
        "<!DOCTYPE plist PUBLIC \"-//X//DTD Y 1.0//EN\" \"http://none.example/[a].dtd\">"}) {
    std::string problem;
    EXPECT_TRUE(
        readPropertyList(std::string("<?xml version=\"1.0\"?>\n") + type +
                             "\n<plist version=\"1.0\"><dict><key>k</key><true/></dict></plist>",
                         problem))
        << type << problem;
  }
}

TEST(PropertyListReader, RefusesADocumentTypeThatDeclaresAnything) {
  const std::string rest = "<plist version=\"1.0\"><dict/></plist>";
  EXPECT_EQ(problemOf("<!DOCTYPE plist [<!ENTITY a \"b\">]>\n" + rest),
            "line 1: a document type with its own declarations");
  EXPECT_EQ(problemOf("<!DOCTYPE plist []>\n" + rest),
            "line 1: a document type with its own declarations");
}

TEST(PropertyListReader, RefusesWhatIsNoPropertyList) {
  for (const char* text :
       {"",
        " ",
        "text",
        "bplist00",
        "<",
        "<plist",
        "<dict/>",
        "<plist/>",
        "<plist version=\"1.0\"/>",
        "<plist version=\"1.0\"></plist>",
        "<plist version=\"1.0\"><array/></plist>",
        "<plist version=\"1.0\"><string/></plist>",
        "<plist version=\"1.0\"><dict/><dict/></plist>",
        "<plist version=\"2.0\"><dict/></plist>",
        "<plist><dict/></plist>",
        "<plist version=\"1.0\" a=\"\"><dict/></plist>",
        "<plist version=\"1.0\"><dict/></plist><plist version=\"1.0\"><dict/></plist>",
        "<plist version=\"1.0\"><dict/></plist>text",
        "text<plist version=\"1.0\"><dict/></plist>",
        "<plist version=\"1.0\"><dict>",
        "<plist version=\"1.0\"><dict></plist>",
        "<plist version=\"1.0\">text<dict/></plist>",
        "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><plist version=\"1.0\"><dict/></plist>",
        "<Plist version=\"1.0\"><dict/></Plist>"}) {
    EXPECT_EQ(problemOf(text).substr(0, 8), "line 1: ") << text;
  }
}

TEST(PropertyListReader, RefusesElementsThatAreOutOfPlace) {
  for (const char* inside :
       {"<key>a</key>", "<true/>", "<key>a</key><key>b</key>", "<key>a</key><true/><true/>", "text",
        "<![CDATA[ ]]>", "<key>a</key><other/>", "<key>a</key><string><b/></string>",
        "<key>a</key><true>x</true>", "<key>a</key><integer><true/></integer>",
        "<key a=\"b\">k</key><true/>", "<key>k</key><string a=\"b\">x</string>",
        "<key><true/></key><true/>", "<key>k</key><array>text</array>"}) {
    EXPECT_EQ(problemOf(document(inside)).substr(0, 8), "line 3: ") << inside;
  }
}

TEST(PropertyListReader, NamesTheLineOfTheProblem) {
  EXPECT_EQ(problemOf(document("\n<key>a</key>\n<true/>\n<key>b</key>\n<integer>x</integer>")),
            "line 7: no valid <integer>");
  EXPECT_EQ(problemOf("<plist version=\"1.0\">\n<dict>\n\n<key>\xFF</key>"),
            "line 4: not XML text in UTF-8");
}

TEST(PropertyListReader, RefusesTextThatXMLForbids) {
  for (const std::string& text : {std::string("\0", 1), std::string("\x01"), std::string("\x1F"),
                                  std::string("\xC3"), std::string("\xED\xA0\x80"),
                                  std::string("\xEF\xBF\xBE"), std::string("\xF5\x80\x80\x80")}) {
    EXPECT_EQ(problemOfValue("<string>" + text + "</string>"), "line 3: not XML text in UTF-8");
  }
}

TEST(PropertyListReader, SkipsAByteOrderMark) {
  std::string problem;
  EXPECT_TRUE(readPropertyList("\xEF\xBB\xBF" + document(""), problem)) << problem;
}

std::string nested(int levels) {
  std::string open;
  std::string close;
  for (int level = 1; level < levels; ++level) {
    open += "<array>";
    close += "</array>";
  }
  return document("<key>k</key>" + open + close);
}

TEST(PropertyListReader, ReadsAsManyLevelsAsItMay) {
  std::string problem;
  const auto read = readPropertyList(nested(kPropertyListDepthLimit), problem);
  ASSERT_TRUE(read) << problem;
  const auto written = writePropertyList(*read, problem);
  ASSERT_TRUE(written) << problem;
  EXPECT_EQ(readPropertyList(*written, problem), read);
  EXPECT_EQ(problemOf(nested(kPropertyListDepthLimit + 1)), "line 3: more than 512 levels");
}

TEST(PropertyListReader, RefusesThousandsOfLevelsUnharmed) {
  EXPECT_EQ(problemOf(nested(50'000)), "line 3: more than 512 levels");
  std::string open = "<plist version=\"1.0\"><dict><key>k</key>";
  for (int level = 0; level < 100'000; ++level) {
    open += "<array>";
  }
  EXPECT_EQ(problemOf(open).substr(0, 5), "line ");
}

TEST(PropertyListReader, RefusesATextThatIsTooLarge) {
  EXPECT_EQ(problemOf(std::string(kPropertyListSizeLimit + 1, ' ')), "larger than 64 MiB");
}

TEST(PropertyListReader, ReadsManyKeysInAMoment) {
  std::string inside;
  for (int number = 0; number < 50'000; ++number) {
    inside += "<key>" + std::to_string(number) + "</key><true/>";
  }
  std::string problem;
  const auto read = readPropertyList(document(inside), problem);
  ASSERT_TRUE(read) << problem;
  EXPECT_EQ(read->entries().size(), 50'000U);
}

// XML reads a line end of any kind as a line feed, unless it is written as a reference.
TEST(PropertyListReader, GivesBackEveryCharacterThatWasWritten) {
  for (const char* text :
       {"\r", "a\r\nb", " \r\n\t", "\n", "]]>", "<a>&amp;\"'", "&#13;", "\x7F"}) {
    PropertyListDictionary list;
    list.set(text, string(text));
    std::string problem;
    const auto written = writePropertyList(list, problem);
    ASSERT_TRUE(written) << problem;
    EXPECT_EQ(readPropertyList(*written, problem), list) << *written;
  }
}

// Whatever stands in a file, reading it ends, and what was read can be written and read again.
class RandomPropertyLists : public testing::TestWithParam<unsigned> {
 protected:
  std::size_t below(std::size_t limit) {
    return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random);
  }
  void checkReading(const std::string& text) {
    std::string problem;
    const auto read = readPropertyList(text, problem);
    if (!read) {
      EXPECT_FALSE(problem.empty());
      return;
    }
    const auto written = writePropertyList(*read, problem);
    ASSERT_TRUE(written) << problem << '\n' << text;
    EXPECT_EQ(readPropertyList(*written, problem), read) << text;
  }

  std::mt19937 random{GetParam()};
};
INSTANTIATE_TEST_SUITE_P(Seeds, RandomPropertyLists, testing::Range(1U, 9U));

TEST_P(RandomPropertyLists, SurvivesDamagedFiles) {
  const std::string whole = document(
      "<key>a</key><array><true/><integer>-0x1</integer><real>1.5</real></array>"
      "<key>&lt;b&#65;</key><dict><key>c</key><data>AAEC/w==</data></dict>"
      "<!-- note --><key>d</key><string><![CDATA[x]]> y </string>"
      "<key>e</key><date>2026-01-02T03:04:05Z</date>");
  constexpr std::string_view kBytes = "<>/!?&;#[]\"'= \n\t-ax0\xC3\xFF";
  for (int round = 0; round < 3000; ++round) {
    std::string text = whole;
    for (std::size_t damage = below(4) + 1; damage > 0 && !text.empty(); --damage) {
      const std::size_t at = below(text.size());
      switch (below(4)) {
        case 0:
          text[at] = kBytes[below(kBytes.size())];
          break;
        case 1:
          text.erase(at, below(20));
          break;
        case 2:
          text.insert(at, text.substr(below(text.size()), below(40)));
          break;
        default:
          text.resize(at + 1);
      }
    }
    checkReading(text);
  }
}

TEST_P(RandomPropertyLists, SurvivesPiecesInAnyOrder) {
  const char* const pieces[] = {"<dict>",    "</dict>",
                                "<array>",   "</array>",
                                "<key>",     "</key>",
                                "<string>",  "</string>",
                                "<true/>",   "<false/>",
                                "<integer>", "</integer>",
                                "1",         "&amp;",
                                "&x;",       "<![CDATA[",
                                "]]>",       "<!--",
                                "-->",       "<?a",
                                "?>",        " ",
                                "text",      "<!DOCTYPE a [",
                                "]>",        "<plist version=\"1.0\">",
                                "</plist>",  "<"};
  for (int round = 0; round < 3000; ++round) {
    std::string text;
    for (std::size_t count = below(60); count > 0; --count) {
      text += pieces[below(std::size(pieces))];
    }
    checkReading(text);
    checkReading(document(text));
  }
}

}  // namespace

}  // namespace marrow
