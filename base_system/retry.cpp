#include "base_system/retry.h"

#include "host/error_record.h"
#include "host/text_format.h"

#include <cerrno>
#include <charconv>

namespace marrow {

namespace {

const EFIVariableName kCounter{kRetryVariable};

// The count that this value holds for the upgrade; a value of another one, or none that was written
// here, starts afresh.
unsigned countIn(std::string_view value, const std::string& upgrade) {
  if (!value.starts_with(upgrade + " ")) {
    return 0;
  }
  value.remove_prefix(upgrade.size() + 1);
  unsigned count = 0;
  const auto result = std::from_chars(value.data(), value.data() + value.size(), count);
  const bool isWhole = result.ec == std::errc() && result.ptr == value.data() + value.size();
  return isWhole ? count : kMostRetries;  // damaged: never more than it would have been
}

}  // namespace

int Retry::arm(const std::string& upgrade) {
  unsigned used = 0;
  const int status = count(upgrade, used);
  if (status != 0) {
    return reported("read how often this upgrade was taken up", status);
  }
  return used < kMostRetries ? armOnceMore(upgrade, used) : giveUp();
}

int Retry::count(const std::string& upgrade, unsigned& used) {
  const auto value = _store.read(kCounter);
  if (!value && errno != ENOENT) {
    return errno;
  }
  used = value ? countIn(*value, upgrade) : 0;
  return 0;
}

// Counted before it is armed: a boot that is not counted could be the one that never ends.
int Retry::armOnceMore(const std::string& upgrade, unsigned used) {
  int status = _store.write(kCounter, upgrade + " " + std::to_string(used + 1));
  status = status == 0 ? _store.sync() : status;
  if (status != 0) {
    return reported("count the retry", status);
  }
  status = _entries.repeatThisBoot();
  status = status == 0 ? _store.sync() : status;
  if (status == 0) {
    _log.log(LogLevel::standard,
             formatText("If this run is cut, the next boot takes it up (%u of %u)", used + 1,
                        kMostRetries));
  }
  return reported("arm the base system for the next boot", status);
}

int Retry::giveUp() {
  _log.log(
      LogLevel::error,
      formatText("This upgrade was taken up %u times already. If this run is cut too, the next "
                 "boot is not one of the base system",
                 kMostRetries));
  return reported("take back the boot entry of this boot", _entries.forgetOneShotOfThisBoot());
}

int Retry::reported(const char* task, int status) {
  if (status != 0) {
    _log.log(LogLevel::error, formatText("Unable to %s. %s", task, errorNumberText(status)));
  }
  return status;
}

}  // namespace marrow
