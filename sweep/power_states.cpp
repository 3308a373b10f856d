#include "sweep/power_states.h"

#include <algorithm>
#include <limits>
#include <random>

namespace marrow::sweep {
namespace {

using rehearsal::LoggedWrite;

void addPieces(const LoggedWrite& write, std::vector<LoggedWrite>& pieces) {
  for (std::uint64_t done = 0; done < write.length; done += kPiece) {
    LoggedWrite piece = write;
    piece.place += done;
    piece.data += done;
    piece.length = std::min(kPiece, write.length - done);
    piece.isFlush = false;
    pieces.push_back(piece);
  }
}

// With the moments that a cut after so many writes may have come in: the one that was when the last
// write began, and those since. What would be the same as before a flush is left out.
void addStates(const RecordedRun& run, std::size_t begun, std::vector<PowerState>& states) {
  const std::uint64_t next = begun < run.writes.size() ? run.writes[begun].data
                                                       : std::numeric_limits<std::uint64_t>::max();
  const std::uint64_t last = begun == 0 ? 0 : run.writes[begun - 1].data;
  for (std::size_t i = 0; i < run.moments.size(); ++i) {
    const bool isOver = i + 1 < run.moments.size() && run.moments[i + 1].length < last;
    const bool isRepeated =
        begun > 0 && run.writes[begun - 1].isFlush && run.moments[i].length < last;
    if (run.moments[i].length < next && !isOver && !isRepeated) {
      states.push_back({.begun = begun, .moment = i});
    }
  }
}

std::size_t flushedOf(const RecordedRun& run, std::size_t begun) {
  std::size_t flushed = begun;
  while (flushed > 0 && !run.writes[flushed - 1].isFlush) {
    --flushed;
  }
  return flushed;
}

}  // namespace

std::vector<LoggedWrite> inPieces(const std::vector<LoggedWrite>& writes) {
  std::vector<LoggedWrite> pieces;
  for (const LoggedWrite& write : writes) {
    if (!write.isDiscard) {
      addPieces(write, pieces);
    }
    if (write.isFlush) {
      pieces.push_back(write);
      pieces.back().length = 0;
    }
  }
  return pieces;
}

std::string describe(const PowerState& state, const RecordedRun& run) {
  return "after " + std::to_string(state.begun) + " of " + std::to_string(run.writes.size()) +
         " writes" + (state.seed == 0 ? "" : ", some lost") + ", firmware " +
         std::to_string(state.moment);
}

std::vector<PowerState> statesOf(const RecordedRun& run, std::size_t subsets) {
  std::vector<PowerState> states;
  for (std::size_t begun = 0; begun <= run.writes.size(); ++begun) {
    addStates(run, begun, states);
  }
  const std::vector<PowerState> prefixes = states;
  for (std::size_t round = 0; round < subsets; ++round) {
    for (PowerState state : prefixes) {
      if (flushedOf(run, state.begun) + 1 < state.begun) {
        state.seed = (round + 1) * 1000003 + state.begun;
        states.push_back(state);
      }
    }
  }
  return states;
}

std::vector<std::size_t> keptWrites(const RecordedRun& run, const PowerState& state) {
  const std::size_t flushed = flushedOf(run, state.begun);
  std::mt19937_64 generator(state.seed);
  std::vector<std::size_t> kept;
  for (std::size_t i = 0; i < state.begun; ++i) {
    const bool isSafe = i < flushed || run.writes[i].isForced || state.seed == 0;
    if (isSafe || generator() % 2 == 0) {
      kept.push_back(i);
    }
  }
  return kept;
}

}  // namespace marrow::sweep
