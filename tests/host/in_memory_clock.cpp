#include "tests/host/in_memory_clock.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace marrow {

void InMemoryClock::advance(double seconds) {
  EXPECT_GE(seconds, 0.0) << "the time never goes back";
  const double target = _now + seconds;
  if (_timers != nullptr) {
    _timers->runIdleQueues();
    for (double next = _timers->nextFiring(target); next <= target;
         next = _timers->nextFiring(target)) {
      _now = std::max(_now, next);
      _timers->fireDueTimers();
      _timers->runIdleQueues();
    }
  }
  _now = std::max(_now, target);
}

}  // namespace marrow
