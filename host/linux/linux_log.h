// The log of a Linux machine: every message becomes a record of the kernel's log, as
// "marrowd: TEXT", or "marrowd[CATEGORY]: TEXT" where the channel has a category.
#pragma once

#include "host/linux/kernel_log.h"
#include "host/log.h"

#include <memory>
#include <mutex>
#include <string>

namespace marrow {

// The subsystem of what the host itself has to tell.
inline constexpr char kHostSubsystem[] = "com.corvane.Marrow.host";

// Must outlive its handles.
class LinuxLog final : public LogService {
 public:
  explicit LinuxLog(KernelLog::Places places = {});

  std::unique_ptr<LogHandle> createHandle(const std::string& subsystem,
                                          const std::string& category) override;
  LogHook setHook(LogLevel minimum, LogHook hook) override;
  std::optional<std::string> render(const LogMessage& message) override;

  // Writes the message, then calls the hook. Never fails and keeps errno.
  void log(const LogMessage& message) noexcept;

 private:
  struct InstalledHook {
    LogLevel minimum;
    LogHook hook;
  };

  void callHook(const LogMessage& message);

  KernelLog _kernelLog;
  std::mutex _hookMutex;
  std::shared_ptr<const InstalledHook> _hook;  // under _hookMutex
};

}  // namespace marrow
