// The firmware's variable store (KQNVRAM): small strings that outlive a reboot. Any thread.
#pragma once

#include <optional>
#include <string>

namespace marrow {

class FirmwareVariables {
 public:
  virtual ~FirmwareVariables() = default;

  // Absent when there is no such variable, and when it cannot be read.
  virtual std::optional<std::string> string(const std::string& key) = 0;

  // Writes the variable, or deletes it when the value is absent. No namespace means the default
  // one. True when the store took it (deleting what is not there counts as taken); on false the
  // variable is as it was. Not durable before forceSync.
  virtual bool setString(const std::optional<std::string>& value, const std::string& key,
                         const std::optional<std::string>& variableNamespace) = 0;

  // Commits pending writes to the hardware. False when that failed.
  virtual bool forceSync() = 0;
};

}  // namespace marrow
