#include "benchmarks/comparison.h"
#include "benchmarks/curves/curve.h"
#include "benchmarks/no_log.h"
#include "benchmarks/sample_tree.h"
#include "benchmarks/scratch_disk.h"
#include "benchmarks/stopwatch.h"
#include "host/linux/linux_file_trees.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>

namespace marrow {

namespace {

constexpr unsigned kDiskMebibytes = 2048;
constexpr std::size_t kFilesByLevels = 2'000;

void check(int result) {
  if (result != 0) {
    throw std::runtime_error("A swap or a removal failed.");
  }
}

// Both trees are on the medium before: what is left of the swap is the visible switch.
std::vector<double> measureOnce(const ScratchDisk& disk, const TreeShape& shape) {
  NoLog log;
  WaitWatch waits(log);
  LinuxFileTrees trees(log, waits);
  makeSampleTree(disk.at("live"), shape, 'o');
  makeSampleTree(disk.at("staged"), shape, 'n');
  disk.flush();
  const double exchange =
      millisecondsOf([&] { check(trees.swap(disk.at("staged"), disk.at("live"))); });
  const double removal = millisecondsOf([&] { check(trees.removeRecursively(disk.at("staged"))); });
  std::filesystem::remove_all(disk.at("live"));
  return {exchange, removal};
}

// 1 KB a file, and about 16 files in a folder.
TreeShape shapeOf(std::size_t files, std::size_t levels) {
  return {files, std::max<std::size_t>(files * 64 / 1'000, 4), levels, files * 1'000};
}

}  // namespace

void measureSwitch(const BenchOptions& options) {
  const ScratchDisk disk("ext4", kDiskMebibytes);
  const std::vector<CurveSeries> series = {{"the switch", "ms"},
                                           {"the removal of the old tree", "ms"}};
  const std::vector<CurveSize> files = {
      {20, "20"}, {200, "200"}, {2'000, "2,000"}, {20'000, "20,000"}};
  Curve byFiles(
      {"The switch itself, by the files of each tree (ext4)",
       "files of each tree",
       {{"switch-files", "The switch and the removal, by the files of a tree", "ms", "time, ms"}}},
      files, series);
  byFiles.measure(options, [&](std::size_t at) {
    return measureOnce(disk, shapeOf(static_cast<std::size_t>(files[at].size), 1));
  });
  byFiles.present(options);

  const std::vector<CurveSize> levels = {{1, "1"}, {8, "8"}, {64, "64"}};
  Curve byLevels({"The switch itself, by the levels of a tree of 2,000 files (ext4)",
                  "levels of folders",
                  {{"switch-levels", "The switch and the removal, by the levels of a tree", "ms",
                    "time, ms"}}},
                 levels, series);
  byLevels.measure(options, [&](std::size_t at) {
    return measureOnce(disk, shapeOf(kFilesByLevels, static_cast<std::size_t>(levels[at].size)));
  });
  byLevels.present(options);
}

}  // namespace marrow
