#include "host/linux/linux_reboot.h"

#include "host/error_record.h"
#include "host/linux/small_file.h"
#include "host/linux/text_output.h"
#include "host/text_format.h"

#include <cerrno>
#include <sys/reboot.h>
#include <unistd.h>
#include <utility>

namespace marrow {

LinuxReboot::LinuxReboot(BootLoaderEntries& entries, LogHandle& log, Paths paths, SystemCalls calls)
    : _entries(entries), _log(log), _paths(std::move(paths)), _calls(std::move(calls)) {}

std::int32_t LinuxReboot::reboot(std::uint64_t flags) {
  if (flags != kRebootFull) {
    return EINVAL;
  }
  report("forget the boot entry of this boot", _entries.forgetOneShotOfThisBoot());
  _calls.sync();
  return _calls.reboot(RB_AUTOBOOT) == 0 ? 0 : errno;
}

std::int32_t LinuxReboot::rebootWithMessage(std::uint32_t flags, const std::string& message) {
  if ((flags & kRebootPanic) == 0) {
    return EINVAL;
  }
  report("write to the kernel's log", writeTextTo(_paths.kernelLog, message + "\n"));
  report("have the kernel restart after a panic", ensurePanicTimeout());
  const int status = writeSmallFile(_paths.sysrqTrigger, "c") ? 0 : errno;
  report("crash the kernel", status);
  return status;
}

// A kernel with a timeout of 0 halts after a panic (Documentation/admin-guide/sysctl/kernel.rst).
int LinuxReboot::ensurePanicTimeout() const {
  const auto timeout = readSmallFile(_paths.panicTimeout);
  if (!timeout) {
    return errno;
  }
  const bool halts = *timeout == "0\n" || *timeout == "0";
  return !halts || writeSmallFile(_paths.panicTimeout, "10\n") ? 0 : errno;
}

void LinuxReboot::report(const char* task, int status) {
  if (status != 0) {
    _log.log(LogLevel::error, formatText("Unable to %s. %s", task, errorNumberText(status)));
  }
}

}  // namespace marrow
