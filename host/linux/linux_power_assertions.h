// Power assertions as locks of logind, or as wake locks of the kernel, with console blanking off
// for the display.
#pragma once

#include "host/linux/descriptor.h"
#include "host/linux/missing_service.h"
#include "host/linux/sleep_inhibitor.h"
#include "host/log.h"
#include "host/power_assertions.h"

#include <mutex>
#include <string>
#include <vector>

namespace marrow {

// Types: "SoftwareUpdateTask" (no sleep), "PreventUserIdleSystemSleep" and
// "PreventUserIdleDisplaySleep" (never idle); any other, and any level but kPowerAssertionLevelOn,
// is EINVAL. Where logind gives no lock the kernel is asked for one. Where neither is there the
// status is ENOSYS, also for a display whose console no longer blanks: an identifier means that
// something keeps the machine awake. Where logind is there and refuses, and the kernel has no
// locks, the status is logind's refusal. A question takes a second at most. The locks are given
// back when this ends.
class LinuxPowerAssertions final : public PowerAssertions {
 public:
  struct Paths {
    std::string systemBus = kSystemBusSocket;
    std::string power = "/sys/power";  // wake_lock and wake_unlock
    std::string terminal = "/dev/tty1";
  };
  explicit LinuxPowerAssertions(LogHandle& log);
  LinuxPowerAssertions(LogHandle& log, Paths paths);
  ~LinuxPowerAssertions() override;

  std::uint32_t create(const std::string& type, std::uint32_t level, const std::string& name,
                       PowerAssertionID& assertion) override;

 private:
  struct Lock {
    Descriptor inhibitor;  // of logind
    std::string wakeLock;  // where there is no inhibitor
  };

  int takeLock(const std::string& type, const std::string& name, Lock& lock);
  int takeInhibitor(const std::string& type, const std::string& name, Lock& lock);
  int takeWakeLock(const std::string& type, const std::string& name, Lock& lock);
  void stopConsoleBlanking();

  Paths _paths;
  MissingService _missingInhibitors;
  MissingService _missingLocks;
  MissingService _missingConsole;
  std::mutex _mutex;         // for what follows
  std::vector<Lock> _locks;  // an assertion's identifier is its place in it, from 1
};

}  // namespace marrow
