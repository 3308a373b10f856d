// Disks that are made without mounting anything, and what is in them.
#include "rehearsal/vm/disk_image.h"

#include "rehearsal/boot_disk.h"
#include "rehearsal/files.h"
#include "rehearsal/programs.h"
#include "tests/rehearsal/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace marrow::rehearsal {
namespace {

using testing::HasSubstr;

constexpr std::uint64_t kFat = std::uint64_t{40} << 20U;

class DiskImage : public testing::Test {
 protected:
  DiskImage() : disk(planDisk(FileSystem::kExt4, {.files = 1, .bytes = 1000}, kFat)) {
    writeFile(image, "");
    std::filesystem::resize_file(image, placePartitions(disk.partitions));
    writePartitionTable(image, disk.partitions);
    writeFile(folder / "content/sub/file", "words", 0640);
  }

  const Partition& partition(std::string_view type) const {
    return disk.partitions[static_cast<std::size_t>(*disk.partitionOf(type) - 1)];
  }

  TemporaryFolder folder;
  std::filesystem::path image = folder / "image";
  BootDisk disk;
};

TEST_F(DiskImage, HoldsAnExt4OfRootWhereItsPartitionIs) {
  const Partition& preboot = partition(partition_type::kPreboot);
  makeExt4(image, preboot, folder / "content");
  const std::string place = image.string() + "?offset=" + std::to_string(preboot.start);
  EXPECT_EQ(runProgram({"debugfs", "-R", "cat /sub/file", place}), "words");
  const std::string status = runProgram({"debugfs", "-R", "stat /sub/file", place});
  EXPECT_THAT(status, HasSubstr("Mode:  0640"));
  EXPECT_THAT(status, HasSubstr("User:     0   Group:     0"));
}

TEST_F(DiskImage, HoldsAFatWhereItsPartitionIs) {
  const Partition& efi = partition(partition_type::kEfiSystem);
  makeFat(image, efi, folder / "content");
  EXPECT_EQ(
      runProgram({"mtype", "-i", image.string() + "@@" + std::to_string(efi.start), "::/sub/file"}),
      "words");
}

TEST_F(DiskImage, KeepsItsTableWhenItIsFilled) {
  for (const Partition& one : disk.partitions) {
    if (one.type == partition_type::kEfiSystem) {
      makeFat(image, one, folder / "content");
    } else {
      makeExt4(image, one, folder / "content");
    }
  }
  const std::vector<Partition> read = readPartitionTable(image);
  ASSERT_EQ(read.size(), disk.partitions.size());
  EXPECT_EQ(read.back().name, disk.group);
  EXPECT_EQ(std::filesystem::file_size(image),
            disk.partitions.back().start + disk.partitions.back().size + (1U << 20U));
}

TEST_F(DiskImage, ArchivesBelongToRoot) {
  writeFile(folder / "archive", archiveOf(folder / "content"));
  const std::string list = runProgram({"cpio", "--quiet", "-itvn", "-F", folder / "archive"});
  EXPECT_THAT(list, HasSubstr("sub/file"));
  EXPECT_THAT(list, testing::ContainsRegex("-rw-r----- +1 0 +0 +5 "));
}

}  // namespace
}  // namespace marrow::rehearsal
