// What a loss of power may leave of a recorded run: of the disk a prefix of its writes, or the
// flushed ones and some of the others, and of the firmware what it held by then.
#pragma once

#include "rehearsal/vm/write_log.h"
#include "sweep/firmware_copy.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace marrow::sweep {

// Disks write pieces of this size as a whole.
inline constexpr std::uint64_t kPiece = 4096;

struct FirmwareMoment {
  // Of the record of the disk's writes, in bytes: those before were done before.
  std::uint64_t length = 0;
  FirmwareCopy firmware;
};

struct RecordedRun {
  // In pieces of at most kPiece; flushes stand between them.
  std::vector<rehearsal::LoggedWrite> writes;
  // In their order, the first one at the beginning.
  std::vector<FirmwareMoment> moments;
};

// Cuts writes into pieces.
std::vector<rehearsal::LoggedWrite> inPieces(const std::vector<rehearsal::LoggedWrite>& writes);

struct PowerState {
  // So many of the writes were begun.
  std::size_t begun = 0;
  // Index into the moments.
  std::size_t moment = 0;
  // Not 0: of those that were not flushed some are lost, chosen by this number.
  std::uint64_t seed = 0;
};

// "after 17 of 380 writes", with "some lost" where some are.
std::string describe(const PowerState& state, const RecordedRun& run);

// Every prefix, with each firmware that may go with it, then as many states again of each prefix
// that ends behind unflushed writes as `subsets` says.
std::vector<PowerState> statesOf(const RecordedRun& run, std::size_t subsets);

// Which of the writes a disk holds in that state, in their order.
std::vector<std::size_t> keptWrites(const RecordedRun& run, const PowerState& state);

}  // namespace marrow::sweep
