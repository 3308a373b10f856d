// The firmware's variables. The default namespace is "".
#pragma once

#include "host/firmware_variables.h"
#include "tests/host/calls.h"

#include <map>
#include <optional>
#include <string>
#include <utility>

namespace marrow {

class InMemoryFirmware : public FirmwareVariables {
 public:
  explicit InMemoryFirmware(Calls& calls) : _calls(calls) {}

  std::optional<std::string> string(const std::string& key) override;
  // The journal has "KEY=VALUE", or "KEY deleted", with " in NAMESPACE" where there is one.
  bool setString(const std::optional<std::string>& value, const std::string& key,
                 const std::optional<std::string>& variableNamespace) override;
  bool forceSync() override;

  // As something else writes it, committed at once.
  void set(const std::string& key, const std::string& value,
           const std::string& variableNamespace = {});
  std::optional<std::string> value(const std::string& key,
                                   const std::string& variableNamespace = {}) const;
  // What the hardware has, that is, as of the last forceSync.
  std::optional<std::string> committedValue(const std::string& key,
                                            const std::string& variableNamespace = {}) const;

  // An orderly restart commits what was pending; a power cut loses it.
  void restart(bool powerWasCut);

 private:
  using Key = std::pair<std::string, std::string>;  // namespace, name
  using Variables = std::map<Key, std::string>;
  static std::optional<std::string> find(const Variables& variables, const Key& key);

  Calls& _calls;
  Variables _variables;
  Variables _committed;
};

}  // namespace marrow
