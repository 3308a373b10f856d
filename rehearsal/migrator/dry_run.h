// The stand-in's one mode: looks at a volume from end to end and changes nothing.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace marrow::migrator {

struct DryRunOptions {
  std::string device;
  std::string log;
  std::string metrics;
  // The FIFO for the percentages, or empty.
  std::string progress;
  // 0 for none.
  std::chrono::seconds timeout{0};
  // Bytes in a second that are read at most, 0 for as fast as it goes.
  std::uint64_t pace = 0;
};

// Exit statuses, after sysexits.h where it knows one.
inline constexpr int kGood = 0;
inline constexpr int kBadVolume = 65;
inline constexpr int kCannotRead = 74;
inline constexpr int kTimedOut = 75;
inline constexpr int kCannotWrite = 73;

// Reads the volume, checks its superblock, reports each new percentage, and writes log and metrics
// also when it fails. Returns an exit status; what is wrong goes to standard error too.
int runDryRun(const DryRunOptions& options);

}  // namespace marrow::migrator
