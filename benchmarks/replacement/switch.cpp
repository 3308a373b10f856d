#include "benchmarks/comparison.h"
#include "benchmarks/no_log.h"
#include "benchmarks/sample_tree.h"
#include "benchmarks/scratch_disk.h"
#include "benchmarks/spread.h"
#include "benchmarks/text_table.h"
#include "host/linux/linux_file_trees.h"

#include <chrono>
#include <filesystem>
#include <iostream>
#include <stdexcept>

namespace marrow {

namespace {

constexpr unsigned kDiskMebibytes = 2048;

struct Times {
  std::vector<double> exchange;  // milliseconds
  std::vector<double> removal;
};

template <typename Work>
double millisecondsOf(const Work& work) {
  const auto start = std::chrono::steady_clock::now();
  if (work() != 0) {
    throw std::runtime_error("A swap or a removal failed.");
  }
  const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
  return time.count();
}

// Both trees are on the medium before: what is left of the swap is the visible switch.
Times measure(const ScratchDisk& disk, const TreeShape& shape, int rounds) {
  NoLog log;
  WaitWatch waits(log);
  LinuxFileTrees trees(log, waits);
  Times times;
  for (int round = 0; round < rounds; ++round) {
    makeSampleTree(disk.at("live"), shape, 'o');
    makeSampleTree(disk.at("staged"), shape, 'n');
    disk.flush();
    times.exchange.push_back(
        millisecondsOf([&] { return trees.swap(disk.at("staged"), disk.at("live")); }));
    times.removal.push_back(
        millisecondsOf([&] { return trees.removeRecursively(disk.at("staged")); }));
    std::filesystem::remove_all(disk.at("live"));
  }
  return times;
}

}  // namespace

void measureSwitch(const BenchOptions& options) {
  std::cout << "## The switch itself, by the size of the trees (ext4)\n\n";
  const ScratchDisk disk("ext4", kDiskMebibytes);
  TextTable table({"files", "levels", "switch, ms", "removal, ms"});
  std::vector<TreeShape> shapes = {{20, 4, 1, 20'000}, {200, 16, 1, 200'000}};
  if (!options.isShort) {
    shapes.insert(shapes.end(), {{2'000, 128, 1, 2'000'000},
                                 {20'000, 1'280, 1, 20'000'000},
                                 {2'000, 128, 8, 2'000'000},
                                 {2'000, 128, 64, 2'000'000}});
  }
  for (const auto& shape : shapes) {
    const Times times = measure(disk, shape, options.rounds);
    table.add({std::to_string(shape.files), std::to_string(shape.levels),
               spreadText(spreadOf(times.exchange), 2), spreadText(spreadOf(times.removal), 1)});
  }
  table.print(std::cout);
  std::cout << std::endl;
}

}  // namespace marrow
