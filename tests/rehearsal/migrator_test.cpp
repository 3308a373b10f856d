// The stand-in migrator against images made by the file systems' own tools.
#include "rehearsal/digest.h"
#include "rehearsal/file_systems.h"
#include "rehearsal/files.h"
#include "rehearsal/migrator/dry_run.h"
#include "tests/rehearsal/temporary_folder.h"

#include <chrono>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace marrow::migrator {
namespace {

using rehearsal::FileSystem;
using rehearsal::readFile;
using testing::ElementsAre;
using testing::HasSubstr;

class StandInMigrator : public testing::Test {
 protected:
  StandInMigrator() {
    options.device = folder / "volume";
    options.log = folder / "log";
    options.metrics = folder / "metrics";
  }

  void makeVolume(FileSystem kind, std::uint64_t size) const {
    rehearsal::writeFile(options.device, "");
    std::filesystem::resize_file(options.device, size);
    rehearsal::makeFileSystem(kind, options.device);
  }

  // Runs with a FIFO, and returns what came out of it.
  std::vector<int> percentagesOf(int& status) {
    options.progress = folder / "progress";
    ::mkfifo(options.progress.c_str(), 0600);
    const rehearsal::Descriptor reader =
        rehearsal::openFile(options.progress, O_RDONLY | O_NONBLOCK);
    status = runDryRun(options);
    std::istringstream text(rehearsal::readAll(reader.number()));
    return {std::istream_iterator<int>(text), {}};
  }

  std::string log() const { return readFile(options.log).value_or(""); }
  std::string metrics() const { return readFile(options.metrics).value_or(""); }

  static constexpr std::uint64_t kMebibyte = 1U << 20U;
  rehearsal::TemporaryFolder folder;
  DryRunOptions options;
};

class StandInMigratorOnFileSystem : public StandInMigrator,
                                    public testing::WithParamInterface<FileSystem> {
 protected:
  std::uint64_t size() const { return rehearsal::volumeSize(GetParam(), kMebibyte); }
};

TEST_P(StandInMigratorOnFileSystem, ReadsTheWholeVolumeAndSaysSo) {
  makeVolume(GetParam(), size());
  EXPECT_EQ(runDryRun(options), kGood);
  EXPECT_EQ(metrics(), "dry-run status=0 fs=" + nameOf(GetParam()) +
                           " bytes=" + std::to_string(size()) + "\n");
  EXPECT_THAT(log(), HasSubstr("Superblock: " + nameOf(GetParam())));
  EXPECT_THAT(log(), HasSubstr(std::to_string(size()) + " bytes read, all of the volume."));
}

TEST_P(StandInMigratorOnFileSystem, ReportsEachPercentageOnceAndUpwards) {
  makeVolume(GetParam(), size());
  int status = -1;
  const std::vector<int> percentages = percentagesOf(status);
  EXPECT_EQ(status, kGood);
  ASSERT_FALSE(percentages.empty());
  EXPECT_EQ(percentages.front(), 0);
  EXPECT_EQ(percentages.back(), 100);
  EXPECT_EQ(std::ranges::adjacent_find(percentages, std::greater_equal<>()), percentages.end());
}

TEST_P(StandInMigratorOnFileSystem, ChangesNoByteOfTheVolume) {
  makeVolume(GetParam(), size());
  const auto before = rehearsal::treeDigest(options.device);
  EXPECT_EQ(runDryRun(options), kGood);
  EXPECT_EQ(rehearsal::treeDigest(options.device), before);
}

TEST_P(StandInMigratorOnFileSystem, RefusesAFileSystemThatIsLargerThanItsVolume) {
  makeVolume(GetParam(), size());
  std::filesystem::resize_file(options.device, size() / 2);
  EXPECT_EQ(runDryRun(options), kBadVolume);
  EXPECT_THAT(log(), HasSubstr("on a volume of " + std::to_string(size() / 2)));
  EXPECT_THAT(metrics(), HasSubstr("status=65"));
}

INSTANTIATE_TEST_SUITE_P(AllOf, StandInMigratorOnFileSystem,
                         testing::Values(FileSystem::kExt4, FileSystem::kBtrfs, FileSystem::kXfs),
                         [](const auto& kind) { return nameOf(kind.param); });

TEST_F(StandInMigrator, RefusesAVolumeWithoutAKnownFileSystem) {
  rehearsal::writeFile(options.device, std::string(kMebibyte, 'x'));
  EXPECT_EQ(runDryRun(options), kBadVolume);
  EXPECT_THAT(log(), HasSubstr("There is no superblock of a known file system."));
}

TEST_F(StandInMigrator, RefusesAnEmptyVolume) {
  rehearsal::writeFile(options.device, "");
  EXPECT_EQ(runDryRun(options), kBadVolume);
}

TEST_F(StandInMigrator, SaysWhenTheVolumeCannotBeOpened) {
  EXPECT_EQ(runDryRun(options), kCannotRead);
  EXPECT_THAT(log(), HasSubstr("Cannot open " + options.device));
  EXPECT_EQ(metrics(), "dry-run status=74 fs=unknown bytes=0\n");
}

TEST_F(StandInMigrator, GivesUpWhenItsTimeIsOver) {
  makeVolume(FileSystem::kExt4, 16 * kMebibyte);
  options.timeout = std::chrono::seconds(1);
  options.pace = kMebibyte;
  EXPECT_EQ(runDryRun(options), kTimedOut);
  EXPECT_THAT(log(), HasSubstr("The time of 1 s is over"));
  EXPECT_THAT(metrics(), HasSubstr("status=75 fs=ext4"));
}

TEST_F(StandInMigrator, FinishesWithinItsTime) {
  makeVolume(FileSystem::kExt4, 16 * kMebibyte);
  options.timeout = std::chrono::seconds(300);
  EXPECT_EQ(runDryRun(options), kGood);
}

TEST_F(StandInMigrator, KeepsToItsPace) {
  makeVolume(FileSystem::kExt4, 16 * kMebibyte);
  options.pace = 32 * kMebibyte;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(runDryRun(options), kGood);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
}

TEST_F(StandInMigrator, GoesOnWhenNobodyReadsItsProgress) {
  makeVolume(FileSystem::kExt4, 16 * kMebibyte);
  options.progress = folder / "progress";
  ::mkfifo(options.progress.c_str(), 0600);
  EXPECT_EQ(runDryRun(options), kGood);
}

TEST_F(StandInMigrator, SaysWhenTheMetricsCannotBeWritten) {
  makeVolume(FileSystem::kExt4, 16 * kMebibyte);
  options.metrics = folder / "missing/metrics";
  EXPECT_EQ(runDryRun(options), kCannotWrite);
}

}  // namespace
}  // namespace marrow::migrator
