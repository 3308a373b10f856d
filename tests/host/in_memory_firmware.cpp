#include "tests/host/in_memory_firmware.h"

#include <utility>

namespace marrow {

std::optional<std::string> InMemoryFirmware::string(const std::string& key) {
  return _calls.made("FirmwareVariables.string", key) ? std::nullopt : value(key);
}

bool InMemoryFirmware::setString(const std::optional<std::string>& value, const std::string& key,
                                 const std::optional<std::string>& variableNamespace) {
  const std::string change = value ? key + "=" + *value : key + " deleted";
  const std::string place = variableNamespace ? " in " + *variableNamespace : "";
  if (_calls.made("FirmwareVariables.setString", change + place)) {
    return false;
  }
  const Key name{variableNamespace.value_or(""), key};
  if (value) {
    _variables[name] = *value;
  } else {
    _variables.erase(name);
  }
  return true;
}

bool InMemoryFirmware::forceSync() {
  if (_calls.made("FirmwareVariables.forceSync")) {
    return false;
  }
  _committed = _variables;
  return true;
}

void InMemoryFirmware::set(const std::string& key, const std::string& value,
                           const std::string& variableNamespace) {
  _variables[{variableNamespace, key}] = value;
  _committed[{variableNamespace, key}] = value;
}

std::optional<std::string> InMemoryFirmware::value(const std::string& key,
                                                   const std::string& variableNamespace) const {
  return find(_variables, {variableNamespace, key});
}

std::optional<std::string> InMemoryFirmware::committedValue(
    const std::string& key, const std::string& variableNamespace) const {
  return find(_committed, {variableNamespace, key});
}

std::optional<std::string> InMemoryFirmware::find(const Variables& variables, const Key& key) {
  const auto found = variables.find(key);
  return found == variables.end() ? std::nullopt : std::optional(found->second);
}

void InMemoryFirmware::restart(bool powerWasCut) {
  (powerWasCut ? _variables : _committed) = powerWasCut ? _committed : _variables;
}

}  // namespace marrow
