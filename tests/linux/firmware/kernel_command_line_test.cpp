#include "host/linux/kernel_command_line.h"

#include "host/linux/linux_kernel_variables.h"
#include "tests/linux/firmware/temporary_folder.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <random>

namespace marrow {
namespace {

TEST(KernelCommandLine, AWordIsFoundAnywhereOnTheLine) {
  EXPECT_EQ(kernelParameter("kern.a=1 kern.b=2 kern.c=3\n", "kern.a"), "1");
  EXPECT_EQ(kernelParameter("kern.a=1 kern.b=2 kern.c=3\n", "kern.b"), "2");
  EXPECT_EQ(kernelParameter("kern.a=1 kern.b=2 kern.c=3\n", "kern.c"), "3");
  EXPECT_EQ(kernelParameter(" \t kern.a=1", "kern.a"), "1");
}

TEST(KernelCommandLine, AWholeNameIsMeant) {
  EXPECT_EQ(kernelParameter("kern.a.b=1 xkern.a=2 kern.aa=3 KERN.A=4", "kern.a"), std::nullopt);
}

TEST(KernelCommandLine, TheLastOneWins) {
  EXPECT_EQ(kernelParameter("a=1 b=2 a=3", "a"), "3");
  EXPECT_EQ(kernelParameter("a=1 a=", "a"), "");
  EXPECT_EQ(kernelParameter("a=1 -- a=2", "a"), "2");
}

TEST(KernelCommandLine, AnEmptyValueIsAValue) { EXPECT_EQ(kernelParameter("a= b=1", "a"), ""); }

TEST(KernelCommandLine, AWordWithoutAnEqualsSignIsNoVariable) {
  EXPECT_EQ(kernelParameter("a b=1", "a"), std::nullopt);
  EXPECT_EQ(kernelParameter("a=1 a", "a"), "1");
}

TEST(KernelCommandLine, AValueMayHoldAnEqualsSign) {
  EXPECT_EQ(kernelParameter("root=UUID=1", "root"), "UUID=1");
  EXPECT_EQ(kernelParameter("a==", "a"), "=");
}

TEST(KernelCommandLine, AQuotedValueMayHoldBlanks) {
  EXPECT_EQ(kernelParameter("a=\"one two\" b=3", "a"), "one two");
  EXPECT_EQ(kernelParameter("a=\"one two\" b=3", "b"), "3");
  EXPECT_EQ(kernelParameter("a=\"x b=1\" c=2", "b"), std::nullopt);
}

TEST(KernelCommandLine, QuotesMayStandAroundTheWholeWord) {
  EXPECT_EQ(kernelParameter("\"a=one two\" b=3", "a"), "one two");
  EXPECT_EQ(kernelParameter("\"a=one two\" b=3", "b"), "3");
  EXPECT_EQ(kernelParameter("\"a=\"one\"\"", "a"), "one\"");
  EXPECT_EQ(kernelParameter("\"a\" b=3", "a"), std::nullopt);
}

TEST(KernelCommandLine, QuotesWithinAValueStay) {
  EXPECT_EQ(kernelParameter("a=one\" \"two b=3", "a"), "one\" \"two");
  EXPECT_EQ(kernelParameter("a=x\"y z\"", "a"), "x\"y z\"");
}

TEST(KernelCommandLine, AQuoteThatIsNotClosedReachesToTheEnd) {
  EXPECT_EQ(kernelParameter("a=\"one two\n", "a"), "one two");
  EXPECT_EQ(kernelParameter("a=\"", "a"), "");
  EXPECT_EQ(kernelParameter("\"a=", "a"), "");
  EXPECT_EQ(kernelParameter("\"a=\"", "a"), "");
}

TEST(KernelCommandLine, NothingIsFoundOnAnEmptyLine) {
  EXPECT_EQ(kernelParameter("", "a"), std::nullopt);
  EXPECT_EQ(kernelParameter("\n", "a"), std::nullopt);
  EXPECT_EQ(kernelParameter("\"", "a"), std::nullopt);
  EXPECT_EQ(kernelParameter("=1 ==", "a"), std::nullopt);
  EXPECT_EQ(kernelParameter("=1", ""), std::nullopt);
}

TEST(KernelCommandLine, ValuesThatAreQuotedAsNeededAreReadBackWhateverStandsAround) {
  std::mt19937 random(20);
  const auto below = [&](unsigned limit) {
    return std::uniform_int_distribution<unsigned>(0, limit - 1)(random);
  };
  const std::string characters = "abz09/-=.,'\\\t \xc3\xa0";
  for (int round = 0; round < 20000; ++round) {
    std::string value;
    for (unsigned length = below(12); length > 0; --length) {
      value += characters[below(static_cast<unsigned>(characters.size()))];
    }
    const std::string word = below(2) == 0 ? "k=\"" + value + "\"" : "\"k=" + value + "\"";
    const std::string around = below(2) == 0 ? "x=\"k=0 y\" z " : " quiet k=0 \"p q=\" ";
    ASSERT_EQ(kernelParameter(around + word + " splash\n", "k"), value) << word;
  }
}

TEST(KernelCommandLine, AnyBytesAreRead) {
  std::mt19937 random(21);
  const std::string characters("ak=\" \t\n\0\xff", 9);
  for (int round = 0; round < 50000; ++round) {
    std::string line;
    for (auto length = random() % 20; length > 0; --length) {
      line += characters[random() % characters.size()];
    }
    const auto value = kernelParameter(line, "k");
    ASSERT_TRUE(!value || line.find(*value) != std::string::npos) << line;
  }
}

TEST(LinuxKernelVariables, AVariableIsAWordOfTheFile) {
  const TemporaryFolder folder;
  folder.write("cmdline", "quiet kern.bootuuid=\"A B\" ro\n");
  LinuxKernelVariables variables(folder.path("cmdline"));
  EXPECT_EQ(variables.string("kern.bootuuid"), "A B");
}

TEST(LinuxKernelVariables, AFileThatCannotBeReadFailsAsTheReadDid) {
  const TemporaryFolder folder;
  folder.write("file", "");
  LinuxKernelVariables variables(folder.path("file/cmdline"));
  EXPECT_EQ(variables.string("kern.bootuuid"), std::nullopt);
  EXPECT_EQ(errno, ENOTDIR);
}

TEST(LinuxKernelVariables, TheRunningKernelsCommandLineHasNoSuchVariable) {
  errno = 0;
  EXPECT_EQ(LinuxKernelVariables().string("kern.no-such-variable"), std::nullopt);
  EXPECT_EQ(errno, ENOENT);
}

}  // namespace
}  // namespace marrow
