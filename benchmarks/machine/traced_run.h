// A whole run, traced: what it asks of the kernel. Tracing slows it down.
#pragma once

#include "benchmarks/machine/prepared_machine.h"

#include <cstdint>

namespace marrow {

// Of all threads of the program, from its execution to its request for the reboot, or its end.
struct RunCounts {
  std::uint64_t systemCalls = 0;
  std::uint64_t pageFaults = 0;
  std::uint64_t mostKibibytes = 0;  // resident at once
};

// Stops it at each of its system calls. Fails as timeRun() does.
RunCounts countRun(const MachinePrograms& programs);

struct RunFlushes {
  // syncfs, fsync, fdatasync and sync that had something to flush to: not those of a terminal.
  std::uint64_t flushes = 0;
  double flushing = 0;   // milliseconds in these, of all threads together
  double toRequest = 0;  // milliseconds from before the execution to the request for the reboot
};

// Stops it only at calls that may change something, a few of its calls, so that the times are
// nearly those of a run that nobody traces. Of the daemon; fails as timeRun() does.
RunFlushes timeFlushes(const MachinePrograms& programs);

}  // namespace marrow
