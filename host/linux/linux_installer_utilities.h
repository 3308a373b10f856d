// What the next boot is to do, told to the firmware and to the boot loader.
#pragma once

#include "host/installer_utilities.h"
#include "host/linux/boot_loader_entries.h"
#include "host/linux/efi_variable_store.h"
#include "host/log.h"
#include "host/partition_library.h"

#include <mutex>
#include <string>

namespace marrow {

class LinuxInstallerUtilities final : public KWUtilities {
 public:
  struct Services {
    EFIVariableStore& store;
    BootLoaderEntries& bootLoaderEntries;
    DVStaticMedia& media;
    LogHandle& log;
  };
  explicit LinuxInstallerUtilities(const Services& services) : _services(services) {}

  // The variable that says so is read and deleted at the first question, so that it holds for one
  // boot only; the answer is remembered.
  bool isDarkBoot() override;

  void muteBootChimeForNextReboot() override;
  void enableDarkReboot() override;

  // The boot loader's entry for a system is "marrow-" and its volume group's UUID, in lower case.
  // Why it failed is told to the log.
  bool blessDevice(const std::optional<std::string>& deviceNode, bool oneTime) override;

 private:
  void readDarkBoot();
  void setFlag(const EFIVariableName& variable);
  std::string systemGroup(const std::string& deviceNode);
  void report(const char* task, const std::string& subject, int status);

  Services _services;
  std::once_flag _darkBootRead;
  bool _darkBoot = false;
};

}  // namespace marrow
