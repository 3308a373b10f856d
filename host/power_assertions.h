// Named assertions that keep the machine, or its display, awake while they are held. They end with
// the process. Any thread.
#pragma once

#include <cstdint>
#include <string>

namespace marrow {

// 0 is no assertion.
using PowerAssertionID = std::uint32_t;

inline constexpr std::uint32_t kPowerAssertionLevelOn = 255;

class PowerAssertions {
 public:
  virtual ~PowerAssertions() = default;

  // Types: "SoftwareUpdateTask", "PreventUserIdleSystemSleep", "PreventUserIdleDisplaySleep". 0
  // with the new assertion's identifier, or another status (an errno value on Linux: EINVAL for any
  // other type or level) with the identifier left as it was.
  virtual std::uint32_t create(const std::string& type, std::uint32_t level,
                               const std::string& name, PowerAssertionID& assertion) = 0;
};

}  // namespace marrow
