// Installing and removing a tree of 20,000 files on ext4.
#include "benchmarks/no_log.h"
#include "benchmarks/scratch_disk.h"
#include "host/linux/linux_file_trees.h"

#include <benchmark/benchmark.h>
#include <filesystem>
#include <fstream>
#include <string>

namespace marrow {

namespace {

namespace fs = std::filesystem;

constexpr int kFolders = 200;
constexpr int kFilesInFolder = 100;

void makeTree(const std::string& top) {
  for (int folder = 0; folder < kFolders; ++folder) {
    const std::string place = top + '/' + std::to_string(folder);
    fs::create_directories(place);
    for (int file = 0; file < kFilesInFolder; ++file) {
      std::ofstream(place + '/' + std::to_string(file)) << "text";
    }
  }
}

// Both kinds of staged trees: one that is still in memory, and one that whoever staged it has
// flushed. The old tree goes and a new one is staged between two swaps: the old one carries the
// mark of a finished swap, so that another swap would do nothing.
void SwapOfTwentyThousandFiles(benchmark::State& state) {
  const bool flushed = state.range(0) != 0;
  const ScratchDisk& disk = scratchDisk();
  NoLog log;
  WaitWatch waits(log);
  LinuxFileTrees trees(log, waits);
  makeTree(disk.at("live"));
  for (auto _ : state) {
    state.PauseTiming();
    makeTree(disk.at("staged"));
    if (flushed) {
      disk.flush();
    }
    state.ResumeTiming();
    if (trees.swap(disk.at("staged"), disk.at("live")) != 0) {
      state.SkipWithError("swap");
    }
    state.PauseTiming();
    fs::remove_all(disk.at("staged"));
    state.ResumeTiming();
  }
  fs::remove_all(disk.at("live"));
}
BENCHMARK(SwapOfTwentyThousandFiles)
    ->ArgName("flushed")
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(5);

// What a run that was cut after a swap does.
void SwapThatWasDone(benchmark::State& state) {
  const ScratchDisk& disk = scratchDisk();
  NoLog log;
  WaitWatch waits(log);
  LinuxFileTrees trees(log, waits);
  fs::create_directory(disk.at("staged"));
  fs::create_directory(disk.at("live"));
  bool swapped = trees.swap(disk.at("staged"), disk.at("live")) == 0;
  for (auto _ : state) {
    swapped = swapped && trees.swap(disk.at("staged"), disk.at("live")) == 0;
  }
  if (!swapped) {
    state.SkipWithError("swap");
  }
  fs::remove_all(disk.at("staged"));
  fs::remove_all(disk.at("live"));
}
BENCHMARK(SwapThatWasDone)->Unit(benchmark::kMicrosecond)->UseRealTime();

void RemovalOfTwentyThousandFiles(benchmark::State& state) {
  const ScratchDisk& disk = scratchDisk();
  NoLog log;
  WaitWatch waits(log);
  LinuxFileTrees trees(log, waits);
  for (auto _ : state) {
    state.PauseTiming();
    makeTree(disk.at("old"));
    disk.flush();
    state.ResumeTiming();
    if (trees.removeRecursively(disk.at("old")) != 0) {
      state.SkipWithError("removal");
    }
  }
}
BENCHMARK(RemovalOfTwentyThousandFiles)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(5);

}  // namespace

}  // namespace marrow
