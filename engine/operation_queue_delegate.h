// Hears how far a queue's run has come.
#pragma once

#include <cstdint>

namespace marrow {

class MWOperationQueue;

class MWOperationQueueDelegate {
 public:
  virtual ~MWOperationQueueDelegate() = default;

  // About once a second during a run, on the queue's progress task queue; a last one may come just
  // after the run has returned. Whole seconds, rounded down; `percentage` is a fraction from 0
  // to 1. Return quickly: work that takes longer belongs on a thread of the delegate's own.
  virtual void operationQueueReceivedEstimatedTimeRemaining(MWOperationQueue& queue,
                                                            std::uint64_t secondsRemaining,
                                                            float percentage) = 0;
};

}  // namespace marrow
