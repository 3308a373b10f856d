#include "engine/progress_report.h"

#include <algorithm>
#include <cstdint>
#include <memory>

namespace marrow {

namespace {

// The bar is drawn from single-precision shares of the whole; each function keeps the precision
// that its type says, and no two roundings are folded into one.

float share(double seconds, double total) { return static_cast<float>(seconds / total); }

float measuredFraction(const Progress& progress, float operationShare, float doneShare) {
  const float part = operationShare * static_cast<float>(progress.fractionCompleted());
  return part + doneShare;
}

// Without a measure the bar moves with time, but never past the operation's own share.
float timedFraction(double secondsInOperation, double total, float operationShare,
                    float doneShare) {
  const double part = std::min(secondsInOperation / total, static_cast<double>(operationShare));
  return static_cast<float>(part + static_cast<double>(doneShare));
}

float fractionDone(const RunState& state, double total, Clock& clock) {
  const auto& operation = state.currentOperation;
  const float operationShare = operation ? share(operation->estimatedExecutionTime(), total) : 0.0F;
  const float doneShare = share(state.trackedElapsedTime, total);
  if (const std::shared_ptr<Progress> progress = operation ? operation->progress() : nullptr) {
    return measuredFraction(*progress, operationShare, doneShare);
  }
  return timedFraction(clock.now() - state.currentOperationStartTime, total, operationShare,
                       doneShare);
}

}  // namespace

double estimatedTimeRemaining(const RunState& state) {
  if (state.endTime) {
    return 0.0;
  }
  double total = 0.0;
  for (const auto& operation : state.queue) {
    total += operation->estimatedExecutionTime();
  }
  return std::max(0.0, total - state.trackedElapsedTime);
}

std::optional<ProgressReport> progressReport(const RunState& state, Clock& clock) {
  if (!(state.totalEstimatedTime > 0.0)) {
    return std::nullopt;
  }
  const auto total = static_cast<double>(static_cast<float>(state.totalEstimatedTime));
  ProgressReport report;
  report.fraction = fractionDone(state, total, clock);
  report.secondsRemaining = static_cast<std::uint64_t>(estimatedTimeRemaining(state));
  return report;
}

}  // namespace marrow
