// The time, for measuring how long something takes. Any thread.
#pragma once

namespace marrow {

class Clock {
 public:
  virtual ~Clock() = default;

  // Seconds since some fixed moment; never goes back.
  virtual double now() = 0;
};

}  // namespace marrow
