#include "host/linux/linux_firmware_variables.h"

#include "host/error_record.h"
#include "host/text_format.h"

#include <cerrno>

namespace marrow {

std::optional<std::string> LinuxFirmwareVariables::string(const std::string& key) {
  auto value = _store.read({key});
  if (!value && errno != ENOENT) {
    succeeded("read firmware variable " + key, errno);
  }
  return value;
}

bool LinuxFirmwareVariables::setString(const std::optional<std::string>& value,
                                       const std::string& key,
                                       const std::optional<std::string>& variableNamespace) {
  const EFIVariableName variable{key, variableNamespace.value_or(kMarrowVendor)};
  const int status = value ? _store.write(variable, *value) : _store.remove(variable);
  return succeeded(std::string(value ? "write" : "delete") + " firmware variable " + key, status);
}

bool LinuxFirmwareVariables::forceSync() {
  return succeeded("commit firmware variables", _store.sync());
}

// That there is no store has been told by the store.
bool LinuxFirmwareVariables::succeeded(const std::string& task, int status) {
  if (status != 0 && status != ENODEV) {
    _log.log(LogLevel::error, formatText("Unable to %s. %s", task, errorNumberText(status)));
  }
  return status == 0;
}

}  // namespace marrow
