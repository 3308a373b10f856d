#include "host/linux/os_release.h"

#include "host/linux/linux_os_variant.h"
#include "tests/linux/firmware/temporary_folder.h"

#include <gtest/gtest.h>
#include <random>

namespace marrow {
namespace {

TEST(OSRelease, AValueMayBeQuotedOrNot) {
  const std::string text = "A=plain\nB=\"in double quotes\"\nC='in single quotes'\nD=\n";
  EXPECT_EQ(osReleaseValue(text, "A"), "plain");
  EXPECT_EQ(osReleaseValue(text, "B"), "in double quotes");
  EXPECT_EQ(osReleaseValue(text, "C"), "in single quotes");
  EXPECT_EQ(osReleaseValue(text, "D"), "");
  EXPECT_EQ(osReleaseValue(text, "E"), std::nullopt);
}

TEST(OSRelease, BackslashesAreTakenOffAsAShellDoes) {
  const std::string text = R"(A=a\ b\"\'\\
B="\$\`\"\\ \x '"
C='\$ "'
D="one"'two'three
)";
  EXPECT_EQ(osReleaseValue(text, "A"), R"(a b"'\)");
  EXPECT_EQ(osReleaseValue(text, "B"), R"($`"\ \x ')");
  EXPECT_EQ(osReleaseValue(text, "C"), R"(\$ ")");
  EXPECT_EQ(osReleaseValue(text, "D"), "onetwothree");
}

TEST(OSRelease, CommentsAndEmptyLinesAreSkipped) {
  const std::string text = "# A=1\n\n  \t# A=2\nA=3 # four\n#A=5";
  EXPECT_EQ(osReleaseValue(text, "A"), "3");
}

TEST(OSRelease, TheLastAssignmentWins) { EXPECT_EQ(osReleaseValue("A=1\nB=2\nA=3", "A"), "3"); }

TEST(OSRelease, LinesMayEndAsOnOtherSystems) {
  EXPECT_EQ(osReleaseValue("A=1\r\nB=\"2\"\r\n", "A"), "1");
  EXPECT_EQ(osReleaseValue("A=1\r\nB=\"2\"\r\n", "B"), "2");
}

TEST(OSRelease, AWholeNameIsMeant) {
  EXPECT_EQ(osReleaseValue("AA=1\nA_=2\nX A=3\nexport A=4\na=5\nA =6\n", "A"), std::nullopt);
}

TEST(OSRelease, MoreThanOneWordIsNoValue) {
  EXPECT_EQ(osReleaseValue("A=base-system B\nB=1\n", "A"), std::nullopt);
  EXPECT_EQ(osReleaseValue("A=base-system B\nB=1\n", "B"), "1");
}

TEST(OSRelease, AnOpenQuoteSpoilsItsOwnLineOnly) {
  EXPECT_EQ(osReleaseValue("A=\"open\nB=1\n", "A"), std::nullopt);
  EXPECT_EQ(osReleaseValue("A=\"open\nB=1\n", "B"), "1");
  EXPECT_EQ(osReleaseValue("A='", "A"), std::nullopt);
  EXPECT_EQ(osReleaseValue("A=1\\", "A"), "1\\");
}

TEST(OSRelease, WhatLooksLikeAnAssignmentWithinAQuotedValueIsNone) {
  EXPECT_EQ(osReleaseValue("A=\"x\nB=1\"\nC=2\n", "B"), std::nullopt);
  EXPECT_EQ(osReleaseValue("A=\"x\nB=1\"\nC=2\n", "C"), "2");
  EXPECT_EQ(osReleaseValue("A=\"x\nB=1\n\"\n", "B"), std::nullopt);
}

TEST(OSRelease, AnyBytesAreRead) {
  std::mt19937 random(22);
  const std::string characters("A=\"'\\\n #\r\0\xff", 11);
  for (int round = 0; round < 50000; ++round) {
    std::string text;
    for (auto length = random() % 24; length > 0; --length) {
      text += characters[random() % characters.size()];
    }
    const auto value = osReleaseValue(text, "A");
    ASSERT_TRUE(!value || value->size() < text.size()) << text;
  }
}

class LinuxOSVariantTest : public testing::Test {
 protected:
  bool isBaseSystem() { return LinuxOSVariant(folder.path()).isBaseSystem("any"); }
  bool hasInternalContent() { return LinuxOSVariant(folder.path()).hasInternalContent("any"); }

  TemporaryFolder folder;
};

TEST_F(LinuxOSVariantTest, ASystemWithoutDescriptionIsNeitherBaseNorInternal) {
  EXPECT_FALSE(isBaseSystem());
  EXPECT_FALSE(hasInternalContent());
}

TEST_F(LinuxOSVariantTest, AnInitialRAMDiskIsABaseSystem) {
  folder.write("initrd-release", "");
  EXPECT_TRUE(isBaseSystem());
}

TEST_F(LinuxOSVariantTest, TheVariantNamesABaseSystem) {
  folder.write("os-release", "ID=debian\nVARIANT_ID=\"base-system\"\n");
  EXPECT_TRUE(isBaseSystem());
  folder.write("os-release", "VARIANT_ID=base-system-2\nVARIANT=base-system\n");
  EXPECT_FALSE(isBaseSystem());
  folder.write("os-release", "VARIANT_ID=Base-System\n");
  EXPECT_FALSE(isBaseSystem());
}

TEST_F(LinuxOSVariantTest, TheReleaseTypeNamesAnInternalBuild) {
  for (const char* const type : {"development", "'experiment'"}) {
    folder.write("os-release", std::string("RELEASE_TYPE=") + type + "\n");
    EXPECT_TRUE(hasInternalContent()) << type;
  }
  for (const char* const type : {"stable", "lts", "", "Development", "\"development\" x"}) {
    folder.write("os-release", std::string("RELEASE_TYPE=") + type + "\n");
    EXPECT_FALSE(hasInternalContent()) << type;
  }
}

TEST_F(LinuxOSVariantTest, NothingIsReadBeforeTheFirstQuestionAndNothingAfterIt) {
  LinuxOSVariant variant(folder.path());
  folder.write("os-release", "RELEASE_TYPE=development\n");
  EXPECT_TRUE(variant.hasInternalContent("any"));
  folder.write("initrd-release", "");
  folder.remove("os-release");
  EXPECT_TRUE(variant.hasInternalContent("any"));
  EXPECT_FALSE(variant.isBaseSystem("any"));
}

}  // namespace
}  // namespace marrow
