// What a machine is made of: trees, digests, firmware variables, property lists, partition tables.
#include "rehearsal/boot_disk.h"
#include "rehearsal/cookie.h"
#include "rehearsal/digest.h"
#include "rehearsal/files.h"
#include "rehearsal/firmware_setup.h"
#include "rehearsal/firmware_store.h"
#include "rehearsal/interruption.h"
#include "rehearsal/problem.h"
#include "rehearsal/shadow_file.h"
#include "rehearsal/staged_objects.h"
#include "tests/rehearsal/temporary_folder.h"

#include <fcntl.h>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace marrow::rehearsal {
namespace {

class Content : public testing::Test {
 protected:
  TemporaryFolder folder;
  Interruption interruption;
};

std::uint64_t bytesBelow(const std::filesystem::path& root, std::uint64_t& files) {
  std::uint64_t bytes = 0;
  files = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
    if (entry.is_regular_file() && !entry.is_symlink()) {
      bytes += entry.file_size();
      ++files;
    }
  }
  return bytes;
}

TEST_F(Content, TreesHoldSoManyFilesAndBytes) {
  makeTree(folder / "tree", {.files = 45, .bytes = 100003}, 1, interruption);
  std::uint64_t files = 0;
  EXPECT_EQ(bytesBelow(folder / "tree", files), 100003U);
  EXPECT_EQ(files, 45U);
}

TEST_F(Content, TreesAreTheSameForTheSameSeedOnly) {
  const TreeSize size{.files = 5, .bytes = 5000};
  makeTree(folder / "one", size, 1, interruption);
  makeTree(folder / "two", size, 1, interruption);
  makeTree(folder / "three", size, 2, interruption);
  EXPECT_EQ(treeDigest(folder / "one"), treeDigest(folder / "two"));
  EXPECT_NE(treeDigest(folder / "one"), treeDigest(folder / "three"));
}

TEST_F(Content, TreeDigestsSeeEveryKindOfChange) {
  makeTree(folder / "tree", {.files = 3, .bytes = 300}, 1, interruption);
  const auto file = folder / "tree/extensions-0/object-0.bin";
  const auto original = treeDigest(folder / "tree");
  std::filesystem::permissions(file, std::filesystem::perms{0400});
  EXPECT_NE(treeDigest(folder / "tree"), original);
  std::filesystem::permissions(file, std::filesystem::perms{0644});
  EXPECT_EQ(treeDigest(folder / "tree"), original);
  std::ofstream(file, std::ios::in | std::ios::out) << "x";
  EXPECT_NE(treeDigest(folder / "tree"), original);
}

TEST_F(Content, TreeDigestsSeeALinkThatPointsElsewhere) {
  makeTree(folder / "tree", {.files = 3, .bytes = 300}, 1, interruption);
  const auto original = treeDigest(folder / "tree");
  std::filesystem::remove(folder / "tree/newest");
  std::filesystem::create_symlink("elsewhere", folder / "tree/newest");
  EXPECT_NE(treeDigest(folder / "tree"), original);
}

TEST_F(Content, WhatIsMissingHasNoDigest) { EXPECT_FALSE(treeDigest(folder / "missing")); }

TEST_F(Content, RangeDigestsDoNotTellHolesFromZeros) {
  writeFile(folder / "zeros", std::string(1U << 20U, '\0') + "end");
  writeFile(folder / "hole", "");
  std::filesystem::resize_file(folder / "hole", 1U << 20U);
  std::ofstream(folder / "hole", std::ios::app) << "end";
  const Descriptor zeros = openFile(folder / "zeros", O_RDONLY);
  const Descriptor hole = openFile(folder / "hole", O_RDONLY);
  constexpr std::uint64_t kAll = (1U << 20U) + 3;
  EXPECT_EQ(rangeDigest(zeros.number(), 0, kAll), rangeDigest(hole.number(), 0, kAll));
  EXPECT_NE(rangeDigest(zeros.number(), 0, kAll), rangeDigest(zeros.number(), 0, kAll - 1));
}

TEST_F(Content, SparseCopiesHoldTheSame) {
  writeFile(folder / "from", "begin");
  std::filesystem::resize_file(folder / "from", 3U << 20U);
  std::ofstream(folder / "from", std::ios::app) << "end";
  const Descriptor from = openFile(folder / "from", O_RDONLY);
  const Descriptor to = openFile(folder / "to", O_RDWR | O_CREAT);
  copySparse(from.number(), to.number());
  EXPECT_EQ(readFile(folder / "to"), readFile(folder / "from"));
}

TEST_F(Content, FirmwareVariablesAreFilesWithAttributes) {
  const FirmwareStore store(folder / "firmware");
  store.set("marrow-nonce", "abc");
  EXPECT_EQ(readFile(folder / "firmware/marrow-nonce-9274182a-2c1f-4ede-a8dc-3f77fe34eb9b"),
            std::string("\7\0\0\0abc", 7));
  EXPECT_EQ(store.get("marrow-nonce"), "abc");
  EXPECT_FALSE(store.get("missing"));
}

TEST_F(Content, LoaderVariablesAreWideAndEndWithAZero) {
  const FirmwareStore store(folder / "firmware");
  store.setLoader("LoaderEntryDefault", "ab");
  EXPECT_EQ(readFile(folder / "firmware/LoaderEntryDefault-4a67b082-0a4c-41cf-b6c7-440b29bb8c4f"),
            std::string("\7\0\0\0a\0b\0\0\0", 10));
  EXPECT_EQ(store.loader("LoaderEntryDefault"), "ab");
}

TEST_F(Content, TheBootIsForTheNonceOfItsScenario) {
  const FirmwareStore proposed(folder / "proposed");
  stageFirmware(proposed, scenarioNamed("booted-from-proposed"), 1);
  const FirmwareStore other(folder / "other");
  stageFirmware(other, scenarioNamed("other-nonce"), 1);
  EXPECT_EQ(proposed.get("asmb-lp-lpnh")->size(), 48U);
  EXPECT_NE(proposed.get("asmb-lp-lpnh"), other.get("asmb-lp-lpnh"));
  EXPECT_EQ(proposed.get("marrow-nonce-proposed"), other.get("marrow-nonce-proposed"));
}

TEST_F(Content, CookiesTellTheirKey) {
  writeCookie(folder / "cookie", kFullUpgradeKey);
  EXPECT_EQ(describeCookie(folder / "cookie"), kFullUpgradeKey);
  writeCookie(folder / "cookie", kAlternateTargetKey);
  EXPECT_EQ(describeCookie(folder / "cookie"), kAlternateTargetKey);
  EXPECT_EQ(describeCookie(folder / "missing"), "(none)");
}

constexpr const char* kShadow =
    "<plist version=\"1.0\"><dict>%s<key>n</key><integer>1</integer>"
    "<key>brask-file-only-vars</key><dict>%s</dict></dict></plist>";

ShadowFile shadowWith(const std::filesystem::path& file, const char* outer, const char* inner) {
  std::array<char, 1024> text{};
  std::snprintf(text.data(), text.size(), kShadow, outer, inner);
  writeFile(file, text.data());
  return readShadowFile(file);
}

TEST_F(Content, ShadowFilesShowTheMetricsApartFromAllElse) {
  constexpr const char* kEntry = "<key>OTA-migrator-metrics</key><string>m</string>";
  const ShadowFile without = shadowWith(folder / "without", "", "");
  const ShadowFile with = shadowWith(folder / "with", kEntry, kEntry);
  EXPECT_FALSE(without.metrics);
  EXPECT_FALSE(without.innerMetrics);
  EXPECT_EQ(with.metrics, "m");
  EXPECT_EQ(with.innerMetrics, "m");
  EXPECT_TRUE(with.hasInner);
  EXPECT_EQ(with.everythingElse, without.everythingElse);
}

TEST_F(Content, ShadowFilesShowATypeThatChanged) {
  const ShadowFile integer = shadowWith(folder / "a", "<key>x</key><integer>1</integer>", "");
  const ShadowFile string = shadowWith(folder / "b", "<key>x</key><string>1</string>", "");
  EXPECT_NE(integer.everythingElse, string.everythingElse);
}

TEST_F(Content, PartitionTablesReadAsWritten) {
  std::vector<Partition> planned = planDisk(FileSystem::kExt4, {}).partitions;
  const std::uint64_t size = placePartitions(planned);
  writeFile(folder / "disk", "");
  std::filesystem::resize_file(folder / "disk", size);
  writePartitionTable(folder / "disk", planned);
  const std::vector<Partition> found = readPartitionTable(folder / "disk");
  ASSERT_EQ(found.size(), planned.size());
  for (std::size_t i = 0; i < found.size(); ++i) {
    EXPECT_EQ(found[i].number, planned[i].number);
    EXPECT_EQ(found[i].start, planned[i].start);
    EXPECT_EQ(found[i].size, planned[i].size);
    EXPECT_EQ(found[i].type, planned[i].type);
    EXPECT_EQ(found[i].name, planned[i].name);
  }
  setPartitionType(folder / "disk", 4, partition_type::kLinuxData);
  EXPECT_EQ(readPartitionTable(folder / "disk")[3].type, partition_type::kLinuxData);
}

TEST_F(Content, ADiskWithoutATableIsRefused) {
  writeFile(folder / "disk", std::string(1U << 20U, '\0'));
  EXPECT_THROW(readPartitionTable(folder / "disk"), Problem);
}

TEST_F(Content, TheBootedGroupIsNotTheFirstOnAFreshDisk) {
  const BootDisk disk = planDisk(FileSystem::kExt4, {});
  const auto system = disk.partitionOf(partition_type::kSystem);
  const auto first = std::ranges::find(disk.partitions, partition_type::kSystem, &Partition::type);
  EXPECT_NE(first->name, disk.group);
  EXPECT_TRUE(system);
}

TEST_F(Content, APersonsDiskBootsTheGroupOfItsFirstDataVolume) {
  const BootDisk disk = planDisk(FileSystem::kExt4, {});
  const auto first = std::ranges::find(disk.partitions, partition_type::kData, &Partition::type);
  EXPECT_EQ(examineDisk(disk.partitions, "").group, first->name);
  EXPECT_EQ(examineDisk(disk.partitions, disk.group).group, disk.group);
  EXPECT_THROW(examineDisk(disk.partitions, "another group"), Problem);
  EXPECT_THROW(examineDisk({}, ""), Problem);
}

}  // namespace
}  // namespace marrow::rehearsal
