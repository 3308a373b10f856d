// What the console tells about a run: which operations began when, and how it went.
#pragma once

#include "rehearsal/machine_run.h"

#include <chrono>
#include <string>
#include <vector>

namespace marrow::rehearsal {

struct OperationTime {
  std::string name;
  // "performed" or "skipped".
  std::string how;
  std::chrono::milliseconds begin{0};
  std::chrono::milliseconds duration{0};
};

// In the order of the console. An operation ends where the next one begins or the queue is done.
std::vector<OperationTime> operationTimes(const MachineRun& run);

// "all completed", "one failed", or "no word" when the console has neither line.
std::string verdictOf(const MachineRun& run);

// Whether some line of the console holds the text.
bool consoleHas(const MachineRun& run, const std::string& text);

}  // namespace marrow::rehearsal
