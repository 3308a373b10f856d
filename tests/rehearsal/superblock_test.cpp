#include "rehearsal/migrator/superblock.h"

#include <gtest/gtest.h>

namespace marrow::migrator {
namespace {

TEST(Superblock, IsNotFoundInLessThanItsArea) {
  EXPECT_FALSE(readSuperblock(std::string("XFSB") + std::string(1000, '\0')));
}

TEST(Superblock, IsNotFoundAmongZeros) {
  EXPECT_FALSE(readSuperblock(std::string(kSuperblockArea, '\0')));
}

TEST(Superblock, OfAnEncryptedVolumeIsItsHeader) {
  std::string start("LUKS\xba\xbe\0\2\0\0\0\0\0\0\x40\0", 16);
  start.resize(kSuperblockArea);
  const auto found = readSuperblock(start);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->fileSystem, "luks2");
  EXPECT_EQ(found->size, 16384U);
}

TEST(Superblock, OfSaneSizesDrawsNoComplaint) {
  EXPECT_EQ(complaintAbout({"ext4", 4096, 8192}, 8192), "");
}

TEST(Superblock, WithABlockSizeThatIsNoPowerOfTwoIsComplainedOf) {
  EXPECT_EQ(complaintAbout({"ext4", 4097, 8192}, 8192),
            "The superblock names a block size of 4097 bytes.");
}

TEST(Superblock, WithBlocksTooSmallOrTooLargeIsComplainedOf) {
  EXPECT_NE(complaintAbout({"ext4", 256, 8192}, 8192), "");
  EXPECT_NE(complaintAbout({"ext4", 131072, 262144}, 262144), "");
}

TEST(Superblock, LargerThanTheVolumeIsComplainedOf) {
  EXPECT_EQ(complaintAbout({"xfs", 4096, 8193}, 8192),
            "The superblock names a size of 8193 bytes on a volume of 8192.");
}

TEST(Superblock, OfNoSizeIsComplainedOf) {
  EXPECT_NE(complaintAbout({"btrfs", 4096, 0}, 8192), "");
}

}  // namespace
}  // namespace marrow::migrator
