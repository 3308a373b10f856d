// How far a run of the queue has come, worked out from one consistent copy of its state.
#pragma once

#include "engine/operation.h"
#include "host/clock.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace marrow {

// What a report is made from. Times are seconds, moments are the clock's.
struct RunState {
  std::vector<std::shared_ptr<MWOperation>> queue;
  std::shared_ptr<MWOperation> currentOperation;
  double totalEstimatedTime = 0.0;  // the estimates as they were when the operations were added
  double trackedElapsedTime = 0.0;  // the estimates of the operations that have run
  std::optional<double> startTime;
  std::optional<double> endTime;
  double currentOperationStartTime = 0.0;
};

struct ProgressReport {
  std::uint64_t secondsRemaining = 0;  // rounded down
  float fraction = 0.0F;               // from 0 to 1
};

// 0 when the run has ended; otherwise the estimates of all operations, asked now, less those that
// have run, and never below 0.
double estimatedTimeRemaining(const RunState& state);

// Absent when there is nothing to measure against, because no operation expects to take time.
std::optional<ProgressReport> progressReport(const RunState& state, Clock& clock);

}  // namespace marrow
