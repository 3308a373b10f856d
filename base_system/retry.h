// A run of the daemon that is cut, by a power failure or a crash, is taken up by the next boot, if
// that is one of the base system again. So the base system is armed for the next boot before the
// daemon starts, and the daemon's own reboot takes that back. A run that cuts itself each time
// must not hold the machine for ever: one upgrade arms three times, counted in the firmware.
#pragma once

#include "host/linux/boot_loader_entries.h"
#include "host/linux/efi_variable_store.h"
#include "host/log.h"

#include <string>

namespace marrow {

inline constexpr unsigned kMostRetries = 3;

// The counter: "UPGRADE COUNT", COUNT in decimal.
inline constexpr char kRetryVariable[] = "marrow-retry";

class Retry {
 public:
  Retry(EFIVariableStore& store, BootLoaderEntries& entries, LogHandle& log)
      : _store(store), _entries(entries), _log(log) {}

  // Arms the entry that was booted for the next boot, unless that was done kMostRetries times for
  // this upgrade; then a choice of it that is left is taken back. `upgrade` is a word without
  // spaces. 0 also when the retries are used up; otherwise an errno value: the next boot is then
  // whatever it was to be before. Each outcome is logged.
  int arm(const std::string& upgrade);

 private:
  int count(const std::string& upgrade, unsigned& used);
  int armOnceMore(const std::string& upgrade, unsigned used);
  int giveUp();
  int reported(const char* task, int status);

  EFIVariableStore& _store;
  BootLoaderEntries& _entries;
  LogHandle& _log;
};

}  // namespace marrow
