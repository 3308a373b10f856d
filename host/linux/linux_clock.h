// The monotonic clock of clock_gettime(2).
#pragma once

#include "host/clock.h"

namespace marrow {

class LinuxClock final : public Clock {
 public:
  double now() override;
};

}  // namespace marrow
