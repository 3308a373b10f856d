#include "operations/migrator_progress.h"

#include <gtest/gtest.h>
#include <string>

namespace marrow {
namespace {

TEST(ReportedPercentage, IsTheNumberAtTheFront) {
  EXPECT_EQ(reportedPercentage("42\n"), 42);
  EXPECT_EQ(reportedPercentage("42"), 42);
}

TEST(ReportedPercentage, CoversTheWholeRange) {
  for (int number = 0; number <= 100; ++number) {
    EXPECT_EQ(reportedPercentage(std::to_string(number) + "\n"), number);
  }
}

TEST(ReportedPercentage, IsAbsentAboveOneHundred) {
  EXPECT_EQ(reportedPercentage("101\n"), std::nullopt);
  EXPECT_EQ(reportedPercentage("4294967297\n"), std::nullopt);
}

TEST(ReportedPercentage, IsAbsentBelowZero) {
  EXPECT_EQ(reportedPercentage("-5\n"), std::nullopt);
  EXPECT_EQ(reportedPercentage("-1\n"), std::nullopt);
}

TEST(ReportedPercentage, OfMinusZeroIsZero) { EXPECT_EQ(reportedPercentage("-0\n"), 0); }

TEST(ReportedPercentage, TakesAPlusSign) { EXPECT_EQ(reportedPercentage("+7\n"), 7); }

TEST(ReportedPercentage, TakesOneSignOnly) {
  EXPECT_EQ(reportedPercentage("+-7\n"), 0);
  EXPECT_EQ(reportedPercentage("--7\n"), 0);
}

TEST(ReportedPercentage, TakesNoSpaceBehindTheSign) { EXPECT_EQ(reportedPercentage("+ 7"), 0); }

TEST(ReportedPercentage, SkipsWhiteSpaceInFront) {
  EXPECT_EQ(reportedPercentage(" \t\r\n\v\f42\n"), 42);
}

TEST(ReportedPercentage, IgnoresWhatFollowsTheDigits) {
  EXPECT_EQ(reportedPercentage("42 percent\n"), 42);
  EXPECT_EQ(reportedPercentage("42.9\n"), 42);
  EXPECT_EQ(reportedPercentage("4 2\n"), 4);
}

TEST(ReportedPercentage, CountsTheFirstOfSeveralReports) {
  EXPECT_EQ(reportedPercentage("10\n20\n"), 10);
}

TEST(ReportedPercentage, OfLettersIsZero) { EXPECT_EQ(reportedPercentage("abc"), 0); }

TEST(ReportedPercentage, OfWhiteSpaceIsZero) {
  EXPECT_EQ(reportedPercentage("\n"), 0);
  EXPECT_EQ(reportedPercentage(""), 0);
}

TEST(ReportedPercentage, OfASignAloneIsZero) { EXPECT_EQ(reportedPercentage("-"), 0); }

TEST(ReportedPercentage, OfTextThatIsNotUTF8IsZero) {
  EXPECT_EQ(reportedPercentage("42\xFF\n"), 0);
}

TEST(ReportedPercentage, ReadsLeadingZeros) { EXPECT_EQ(reportedPercentage("0042\n"), 42); }

TEST(ReportedPercentage, OfMoreDigitsThanANumberHoldsIsAbsent) {
  EXPECT_EQ(reportedPercentage("9223372036854775807"), std::nullopt);
  EXPECT_EQ(reportedPercentage("18446744073709551658"), std::nullopt);
  EXPECT_EQ(reportedPercentage(std::string(10000, '9')), std::nullopt);
  EXPECT_EQ(reportedPercentage("-" + std::string(10000, '9')), std::nullopt);
}

}  // namespace
}  // namespace marrow
