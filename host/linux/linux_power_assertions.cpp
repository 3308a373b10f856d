#include "host/linux/linux_power_assertions.h"

#include "host/error_record.h"
#include "host/linux/small_file.h"
#include "host/linux/text_output.h"
#include "host/text_format.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <utility>

namespace marrow {

namespace {

constexpr std::string_view kSoftwareUpdate = "SoftwareUpdateTask";
constexpr std::string_view kDisplaySleep = "PreventUserIdleDisplaySleep";
constexpr std::array<std::string_view, 3> kTypes = {kSoftwareUpdate, "PreventUserIdleSystemSleep",
                                                    kDisplaySleep};
constexpr char kReason[] = "Finishing a system update";

// Blank timeout and power-down interval of 0 minutes, which is never, console_codes(4).
constexpr std::string_view kNeverBlank = "\033[9;0]\033[14;0]";

// A blank would end the name of a lock (Documentation/ABI/testing/sysfs-power, wake_lock).
std::string lockName(const std::string& name, const std::string& type) {
  std::string lock = name + "." + type;
  std::replace_if(
      lock.begin(), lock.end(), [](unsigned char c) { return c <= ' '; }, '_');
  return lock;
}

// Whether logind was there to say so.
bool isRefusal(int status) { return status == EACCES || status == EPERM; }

// A machine without a bus is nothing unusual.
bool isWithoutBus(int status) {
  return status == ENOENT || status == ENOTDIR || status == ECONNREFUSED;
}

}  // namespace

LinuxPowerAssertions::LinuxPowerAssertions(LogHandle& log) : LinuxPowerAssertions(log, Paths{}) {}

LinuxPowerAssertions::LinuxPowerAssertions(LogHandle& log, Paths paths)
    : _paths(std::move(paths)), _missingInhibitors(log), _missingLocks(log), _missingConsole(log) {}

LinuxPowerAssertions::~LinuxPowerAssertions() {
  for (const Lock& lock : _locks) {
    if (!lock.inhibitor) {
      writeSmallFile(_paths.power + "/wake_unlock", lock.wakeLock);
    }
  }
}

std::uint32_t LinuxPowerAssertions::create(const std::string& type, std::uint32_t level,
                                           const std::string& name, PowerAssertionID& assertion) {
  if (level != kPowerAssertionLevelOn ||
      std::find(kTypes.begin(), kTypes.end(), type) == kTypes.end()) {
    return EINVAL;
  }
  if (type == kDisplaySleep) {
    stopConsoleBlanking();
  }
  Lock lock;
  if (const int status = takeLock(type, name, lock); status != 0) {
    return static_cast<std::uint32_t>(status);
  }
  const std::lock_guard guard(_mutex);
  _locks.push_back(std::move(lock));
  assertion = static_cast<PowerAssertionID>(_locks.size());
  return 0;
}

int LinuxPowerAssertions::takeLock(const std::string& type, const std::string& name, Lock& lock) {
  const int refusal = takeInhibitor(type, name, lock);
  if (refusal == 0) {
    return 0;
  }
  const int status = takeWakeLock(type, name, lock);
  return status == ENOSYS && isRefusal(refusal) ? refusal : status;
}

int LinuxPowerAssertions::takeInhibitor(const std::string& type, const std::string& name,
                                        Lock& lock) {
  lock.inhibitor = takeSleepInhibitor(_paths.systemBus,
                                      {type == kSoftwareUpdate ? "sleep" : "idle", name, kReason});
  if (lock.inhibitor) {
    return 0;
  }
  const int status = errno;
  if (!isWithoutBus(status)) {
    _missingInhibitors.report(formatText("logind gives no inhibitor lock (%s). %s",
                                         _paths.systemBus, errorNumberText(status)));
  }
  return status;
}

int LinuxPowerAssertions::takeWakeLock(const std::string& type, const std::string& name,
                                       Lock& lock) {
  lock.wakeLock = lockName(name, type);
  const std::string file = _paths.power + "/wake_lock";
  if (writeSmallFile(file, lock.wakeLock)) {
    return 0;
  }
  if (errno != ENOENT) {
    return errno;
  }
  _missingLocks.report(
      formatText("This machine cannot be kept awake: neither logind (%s) nor the "
                 "kernel (%s) keeps it so.",
                 _paths.systemBus, file));
  return ENOSYS;
}

void LinuxPowerAssertions::stopConsoleBlanking() {
  if (const int status = writeTextTo(_paths.terminal, kNeverBlank); status != 0) {
    _missingConsole.report(formatText("Unable to turn console blanking off (%s). %s",
                                      _paths.terminal, errorNumberText(status)));
  }
}

}  // namespace marrow
