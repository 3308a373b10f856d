#include "tests/host/in_memory_power.h"

#include <cerrno>

namespace marrow {

namespace {

bool isKnownType(const std::string& type) {
  return type == "SoftwareUpdateTask" || type == "PreventUserIdleSystemSleep" ||
         type == "PreventUserIdleDisplaySleep";
}

}  // namespace

std::uint32_t InMemoryPower::create(const std::string& type, std::uint32_t level,
                                    const std::string& name, PowerAssertionID& assertion) {
  const std::string arguments = type + " " + std::to_string(level) + " " + name;
  if (const auto failure = _calls.made("PowerAssertions.create", arguments)) {
    return static_cast<std::uint32_t>(failure->status());
  }
  if (level != kPowerAssertionLevelOn || !isKnownType(type)) {
    return EINVAL;
  }
  assertion = ++_last;
  _held.push_back({assertion, type, level, name});
  return 0;
}

}  // namespace marrow
