// Power assertions as wake locks of the kernel, with console blanking off for the display.
#pragma once

#include "host/linux/missing_service.h"
#include "host/log.h"
#include "host/power_assertions.h"

#include <mutex>
#include <string>
#include <vector>

namespace marrow {

// Types: "SoftwareUpdateTask", "PreventUserIdleSystemSleep", "PreventUserIdleDisplaySleep"; any
// other, and any level but kPowerAssertionLevelOn, is EINVAL. ENOSYS where the machine has no
// way to keep itself awake. The locks are given back when this ends.
class LinuxPowerAssertions final : public PowerAssertions {
 public:
  struct Paths {
    std::string power = "/sys/power";  // wake_lock and wake_unlock
    std::string terminal = "/dev/tty1";
  };
  explicit LinuxPowerAssertions(LogHandle& log);
  LinuxPowerAssertions(LogHandle& log, Paths paths);
  ~LinuxPowerAssertions() override;

  std::uint32_t create(const std::string& type, std::uint32_t level, const std::string& name,
                       PowerAssertionID& assertion) override;

 private:
  int takeWakeLock(const std::string& lock);
  void stopConsoleBlanking();

  Paths _paths;
  MissingService _missingLocks;
  MissingService _missingConsole;
  std::mutex _mutex;                // for what follows
  std::vector<std::string> _locks;  // an assertion's identifier is its place in it, from 1
};

}  // namespace marrow
