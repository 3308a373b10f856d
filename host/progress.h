// How far a long piece of work has come, counted in units. The worker's thread and a thread that
// reports use one object at the same time: both counters are atomic.
#pragma once

#include <atomic>
#include <cstdint>

namespace marrow {

class Progress {
 public:
  explicit Progress(std::int64_t totalUnitCount) : _totalUnitCount(totalUnitCount) {}

  std::int64_t totalUnitCount() const { return _totalUnitCount; }
  std::int64_t completedUnitCount() const { return _completedUnitCount; }
  void setCompletedUnitCount(std::int64_t count) { _completedUnitCount = count; }

  // From 0 to 1; 0 when nothing is to be done.
  double fractionCompleted() const {
    return _totalUnitCount > 0
               ? static_cast<double>(_completedUnitCount) / static_cast<double>(_totalUnitCount)
               : 0.0;
  }

 private:
  const std::int64_t _totalUnitCount;
  std::atomic<std::int64_t> _completedUnitCount = 0;
};

}  // namespace marrow
