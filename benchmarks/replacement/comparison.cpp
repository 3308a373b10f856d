#include "benchmarks/comparison.h"

#include "benchmarks/replacement/replacement.h"
#include "benchmarks/replacement/watcher.h"
#include "benchmarks/spread.h"
#include "benchmarks/system_calls.h"
#include "benchmarks/text_table.h"

#include <chrono>
#include <iostream>
#include <numeric>

namespace marrow {

namespace {

constexpr unsigned kDiskMebibytes = 4096;
constexpr std::uint64_t kLooks = 100'000;
constexpr int kMostWatchedRuns = 100;

using Ways = std::vector<std::unique_ptr<Replacement>>;

double millisecondsOf(Replacement& way) {
  const auto start = std::chrono::steady_clock::now();
  way.replace();
  const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
  return time.count();
}

// The ways take turns, and another one begins each round.
std::vector<std::vector<double>> measure(const Ways& ways, const ScratchDisk& disk, int rounds,
                                         bool isCold) {
  std::vector<std::vector<double>> times(ways.size());
  for (std::size_t round = 0; round < static_cast<std::size_t>(rounds); ++round) {
    for (std::size_t turn = 0; turn < ways.size(); ++turn) {
      const std::size_t at = (round + turn) % ways.size();
      ways[at]->prepare();
      if (isCold) {
        disk.forget();
      }
      times[at].push_back(millisecondsOf(*ways[at]));
      ways[at]->clear();
    }
  }
  return times;
}

void printTimes(const Ways& ways, const std::vector<std::vector<double>>& times) {
  TextTable table({"way", "ms", "of the reference"});
  for (std::size_t at = 0; at < ways.size(); ++at) {
    table.add({ways[at]->name(), spreadText(spreadOf(times[at]), 1),
               spreadText(spreadOf(ratios(times[at], times.front())), 2)});
  }
  table.print(std::cout);
  std::cout << std::endl;
}

std::uint64_t callsOf(Replacement& way) {
  way.prepare();
  const auto calls = systemCallsOf([&way] { way.replace(); });
  way.clear();
  return std::accumulate(calls.begin(), calls.end(), std::uint64_t{0},
                         [](std::uint64_t sum, const auto& call) { return sum + call.second; });
}

void printCalls(const Ways& ways) {
  const auto reference = static_cast<double>(callsOf(*ways[0]));
  const auto operation = static_cast<double>(callsOf(*ways[1]));
  std::cout << "System calls: reference " << numberText(reference, 0) << ", " << ways[1]->name()
            << " " << numberText(operation, 0) << ", ratio " << numberText(operation / reference, 3)
            << "\n\n";
}

Seen watch(Replacement& way, const TreeShape& shape, std::uint64_t looks) {
  Seen all;
  for (int run = 0; run < kMostWatchedRuns && all.looks < looks; ++run) {
    way.prepare();
    Watcher watcher(way.live(), shape);
    way.replace();
    const Seen seen = watcher.stop();
    way.clear();
    all.looks += seen.looks;
    all.missing += seen.missing;
    all.mixed += seen.mixed;
    all.missingMilliseconds = std::max(all.missingMilliseconds, seen.missingMilliseconds);
    all.mixedMilliseconds = std::max(all.mixedMilliseconds, seen.mixedMilliseconds);
  }
  return all;
}

void printSeen(const Ways& ways, const TreeShape& shape, std::uint64_t looks) {
  TextTable table({"way", "looks", "missing", "longest ms", "mixed", "longest ms"});
  for (const auto& way : ways) {
    if (way->canBeWatched()) {
      const Seen seen = watch(*way, shape, looks);
      table.add({way->name(), std::to_string(seen.looks), std::to_string(seen.missing),
                 numberText(seen.missingMilliseconds, 2), std::to_string(seen.mixed),
                 numberText(seen.mixedMilliseconds, 2)});
    }
  }
  table.print(std::cout);
  std::cout << std::endl;
}

void compareOn(const std::string& fileSystem, const BenchOptions& options) {
  const TreeShape shape = options.isShort ? TreeShape{100, 10, 2, 1'000'000} : TreeShape{};
  const ScratchDisk disk(fileSystem, kDiskMebibytes);
  const Ways ways = replacements(disk, shape);
  for (const bool isCold : {false, true}) {
    std::cout << "## Replacing " << shape.files << " files in " << shape.folders << " folders, "
              << shape.bytes / 1'000'000 << " MB, on " << fileSystem
              << (isCold ? ", cache cold\n\n" : ", cache warm\n\n");
    printTimes(ways, measure(ways, disk, options.rounds, isCold));
  }
  printCalls(ways);
  const TreeShape watched = options.isShort ? shape : TreeShape{2000, 120, 2, 20'000'000};
  printSeen(replacements(disk, watched), watched, options.isShort ? 1 : kLooks);
}

}  // namespace

void compareReplacements(const BenchOptions& options) {
  for (const auto& fileSystem : options.fileSystems) {
    compareOn(fileSystem, options);
  }
}

}  // namespace marrow
