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

constexpr std::string_view kDisplaySleep = "PreventUserIdleDisplaySleep";
constexpr std::array<std::string_view, 3> kTypes = {"SoftwareUpdateTask",
                                                    "PreventUserIdleSystemSleep", kDisplaySleep};

// Blank timeout and power-down interval of 0 minutes, which is never, console_codes(4).
constexpr std::string_view kNeverBlank = "\033[9;0]\033[14;0]";

// A blank would end the name of a lock (Documentation/ABI/testing/sysfs-power, wake_lock).
std::string lockName(const std::string& name, const std::string& type) {
  std::string lock = name + "." + type;
  std::replace_if(
      lock.begin(), lock.end(), [](unsigned char c) { return c <= ' '; }, '_');
  return lock;
}

}  // namespace

LinuxPowerAssertions::LinuxPowerAssertions(LogHandle& log) : LinuxPowerAssertions(log, Paths{}) {}

LinuxPowerAssertions::LinuxPowerAssertions(LogHandle& log, Paths paths)
    : _paths(std::move(paths)), _missingLocks(log), _missingConsole(log) {}

LinuxPowerAssertions::~LinuxPowerAssertions() {
  for (const std::string& lock : _locks) {
    writeSmallFile(_paths.power + "/wake_unlock", lock);
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
  const std::string lock = lockName(name, type);
  if (const int status = takeWakeLock(lock); status != 0) {
    return static_cast<std::uint32_t>(status);
  }
  const std::lock_guard guard(_mutex);
  _locks.push_back(lock);
  assertion = static_cast<PowerAssertionID>(_locks.size());
  return 0;
}

int LinuxPowerAssertions::takeWakeLock(const std::string& lock) {
  const std::string file = _paths.power + "/wake_lock";
  if (writeSmallFile(file, lock)) {
    return 0;
  }
  if (errno != ENOENT) {
    return errno;
  }
  _missingLocks.report(
      formatText("This machine cannot be kept awake (%s). %s", file, errorNumberText(ENOENT)));
  return ENOSYS;
}

void LinuxPowerAssertions::stopConsoleBlanking() {
  if (const int status = writeTextTo(_paths.terminal, kNeverBlank); status != 0) {
    _missingConsole.report(formatText("Unable to turn console blanking off (%s). %s",
                                      _paths.terminal, errorNumberText(status)));
  }
}

}  // namespace marrow
