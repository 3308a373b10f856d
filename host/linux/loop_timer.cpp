#include "host/linux/loop_timer.h"

#include "host/linux/retry.h"
#include "host/linux/unique_key.h"

#include <algorithm>
#include <sys/timerfd.h>
#include <system_error>
#include <utility>

namespace marrow {

namespace {

// At least a nanosecond: zero would make the timer fire only once (timerfd_create(2)).
timespec timespecFor(double seconds) {
  constexpr double kNanoseconds = 1e9;
  constexpr double kLongest = 1e9;  // seconds, some thirty years
  const double bounded = std::clamp(seconds, 0.0, kLongest);
  timespec time{};
  time.tv_sec = static_cast<time_t>(bounded);
  time.tv_nsec = static_cast<long>((bounded - static_cast<double>(time.tv_sec)) * kNanoseconds);
  if (time.tv_sec == 0 && time.tv_nsec == 0) {
    time.tv_nsec = 1;
  }
  return time;
}

}  // namespace

LoopTimer::LoopTimer(double interval, Task handler)
    : _key(uniqueKey()),
      _interval(interval),
      _handler(std::move(handler)),
      _descriptor(::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)) {
  if (!_descriptor) {
    throw std::system_error(errno, std::generic_category(), "timerfd_create");
  }
}

void LoopTimer::activate() {
  itimerspec times{};
  ::clock_gettime(CLOCK_MONOTONIC, &times.it_value);
  times.it_interval = timespecFor(_interval);
  ::timerfd_settime(_descriptor.number(), TFD_TIMER_ABSTIME, &times, nullptr);
}

void LoopTimer::cancel() { _cancelled = true; }

void LoopTimer::fireIfDue() {
  std::uint64_t expirations = 0;
  const ssize_t count = retryInterrupted(
      [&] { return ::read(_descriptor.number(), &expirations, sizeof(expirations)); });
  if (count > 0 && !_cancelled) {
    _handler();
  }
}

}  // namespace marrow
