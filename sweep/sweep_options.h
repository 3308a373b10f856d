// What a person asks of a sweep.
#pragma once

#include "rehearsal/file_systems.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace marrow::sweep {

enum class SweepKind { kKill, kPower, kFail, kFill, kStarve, kPlanted, kWatched, kTools };

struct SweepOptions {
  SweepKind kind = SweepKind::kKill;
  // Empty for all of that kind.
  std::vector<std::string> scenarios;
  rehearsal::FileSystem fileSystem = rehearsal::FileSystem::kExt4;
  // The first case, the last, and how many further on the next one is.
  std::size_t from = 1;
  std::optional<std::size_t> to;
  std::size_t every = 1;
  // So many cases of each scenario, evenly spread, in place of every one of them.
  std::optional<std::size_t> sample;
  // Of the daemon's calls those alone that change something.
  bool onlyChanges = false;
  // The run after the interrupted one is interrupted as well, at a stop chosen by the case's
  // number.
  bool again = false;
  // Of losses of power: how often other writes are lost behind each write, and of how many states
  // that look alike one is run to its end.
  std::size_t subsets = 1;
  std::size_t finishEvery = 1;
  // Of watched runs: how many files each tree has, and how often to look at least.
  std::uint64_t files = 500;
  std::uint64_t looks = 2000;
  // A run that takes more seconds than this stands still.
  unsigned patience = 90;
  // Takes a line for each case. Those that it holds already are not done again.
  std::string log;
  // Program; empty for the one beside this one.
  std::string daemon;
};

// Nothing when the program is to end at once with the status that was put in `status`.
std::optional<SweepOptions> parseSweepOptions(int argc, const char* const* argv, int& status);

}  // namespace marrow::sweep
