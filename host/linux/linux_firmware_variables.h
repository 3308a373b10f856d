// Firmware variables as text in the store of EFI variables.
#pragma once

#include "host/firmware_variables.h"
#include "host/linux/efi_variable_store.h"
#include "host/log.h"

namespace marrow {

// A variable's text is its bytes, UTF-8 without a terminator. The namespace is an EFI vendor GUID;
// the default one is this system's own. The store takes no empty value: writing one deletes. What
// the store refuses is told to the log.
class LinuxFirmwareVariables final : public FirmwareVariables {
 public:
  LinuxFirmwareVariables(EFIVariableStore& store, LogHandle& log) : _store(store), _log(log) {}

  std::optional<std::string> string(const std::string& key) override;
  bool setString(const std::optional<std::string>& value, const std::string& key,
                 const std::optional<std::string>& variableNamespace) override;
  bool forceSync() override;

 private:
  bool succeeded(const std::string& task, int status);

  EFIVariableStore& _store;
  LogHandle& _log;
};

}  // namespace marrow
