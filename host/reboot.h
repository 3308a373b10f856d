// The end of the machine's session. Any thread.
#pragma once

#include <cstdint>
#include <string>

namespace marrow {

// A full reboot, through the firmware.
inline constexpr std::uint64_t kRebootFull = std::uint64_t{1} << 63;

// Flags of rebootWithMessage.
inline constexpr std::uint32_t kRebootPanic = 0x800;
inline constexpr std::uint32_t kRebootQuick = 0x400;

class Reboot {
 public:
  virtual ~Reboot() = default;

  // `flags` is kRebootFull alone (EINVAL otherwise). 0 when the reboot was accepted (the call may
  // then not return), otherwise a status: a positive errno value on Linux. Everything written so
  // far is durable before the machine goes down.
  virtual std::int32_t reboot(std::uint64_t flags) = 0;

  // Crashes the kernel with this message; the flags must hold kRebootPanic (EINVAL otherwise).
  // Returns, with a status, only where that is not possible.
  virtual std::int32_t rebootWithMessage(std::uint32_t flags, const std::string& message) = 0;
};

}  // namespace marrow
