// The time stands still until a test moves it.
#pragma once

#include "host/clock.h"

#include <cstdint>
#include <functional>

namespace marrow {

class InMemoryClock : public Clock {
 public:
  double now() override { return _now; }

  // Lets this many seconds pass, at least 0. Timers that become due on the way fire inline, each at
  // its moment, and every queue that is not running gets to run what was submitted to it, at the
  // beginning and after each firing. May be called anywhere: in a test, in a task of a queue, in an
  // operation, in a program.
  void advance(double seconds);

  // How the clock finds and fires timers; the task queues supply it.
  struct Timers {
    virtual ~Timers() = default;
    virtual void runIdleQueues() = 0;
    // The moment of the earliest firing that is due up to `until`; above `until` when there is
    // none.
    virtual double nextFiring(double until) = 0;
    virtual void fireDueTimers() = 0;
  };
  void setTimers(Timers* timers) { _timers = timers; }

 private:
  double _now = 1000.0;
  Timers* _timers = nullptr;
};

}  // namespace marrow
