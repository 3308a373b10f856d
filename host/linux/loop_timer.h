// A repeating timer of a task loop, over timerfd_create(2) with the monotonic clock.
#pragma once

#include "host/linux/descriptor.h"
#include "host/task_queues.h"

#include <atomic>
#include <cstdint>

namespace marrow {

// Any thread, except where it says otherwise.
class LoopTimer {
 public:
  // Throws std::system_error when there is no descriptor left.
  LoopTimer(double interval, Task handler);

  // Due at once, then at whole intervals from now, however late each firing is served.
  void activate();
  void cancel();

  // On the loop's thread: runs the handler once if the timer is due, however often it has become
  // so.
  void fireIfDue();

  int descriptor() const { return _descriptor.number(); }
  std::uint64_t key() const { return _key; }

 private:
  const std::uint64_t _key;  // never the same again in this process
  const double _interval;    // seconds
  const Task _handler;
  Descriptor _descriptor;
  std::atomic<bool> _cancelled = false;
};

}  // namespace marrow
