#include "host/linux/linux_clock.h"

#include <ctime>

namespace marrow {

double LinuxClock::now() {
  constexpr double kNanosecond = 1e-9;
  timespec time{};
  ::clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * kNanosecond;
}

}  // namespace marrow
