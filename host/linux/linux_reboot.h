// The machine's reboot, and its crash.
#pragma once

#include "host/linux/boot_loader_entries.h"
#include "host/log.h"
#include "host/reboot.h"

#include <functional>
#include <string>

namespace marrow {

class LinuxReboot final : public Reboot {
 public:
  struct Paths {
    std::string kernelLog = "/dev/kmsg";
    std::string panicTimeout = "/proc/sys/kernel/panic";
    std::string sysrqTrigger = "/proc/sysrq-trigger";
  };
  // The two calls of the kernel's: sync(2), and reboot(2) with one of the RB_ commands.
  struct SystemCalls {
    std::function<void()> sync;
    std::function<int(int)> reboot;
  };

  LinuxReboot(BootLoaderEntries& entries, LogHandle& log, Paths paths, SystemCalls calls);

  // kRebootFull alone; any other flag word is EINVAL. The boot loader's choice for one time is
  // forgotten when it means the entry that was booted: a loader that did not forget it by itself
  // would start this system again and again.
  std::int32_t reboot(std::uint64_t flags) override;

  // The message goes to the kernel's log; a kernel that would halt after a panic is told to restart
  // after 10 seconds. Without kRebootPanic: EINVAL. 0 when the kernel took the crash request.
  std::int32_t rebootWithMessage(std::uint32_t flags, const std::string& message) override;

 private:
  int ensurePanicTimeout() const;
  void report(const char* task, int status);

  BootLoaderEntries& _entries;
  LogHandle& _log;
  Paths _paths;
  SystemCalls _calls;
};

}  // namespace marrow
