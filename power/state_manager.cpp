#include "power/state_manager.h"

#include "daemon/log_channels.h"

#include <cstdint>

namespace marrow {

MWStateManager::MWStateManager(std::shared_ptr<MWStorageController> storageController,
                               PowerAssertions& powerAssertions)
    : _powerAssertions(powerAssertions) {
  setStorageController(std::move(storageController));
  _enablePowerAssertions();
}

void MWStateManager::_enablePowerAssertions() {
  setSoftwareUpdateAssertion(_createAssertionWithType("SoftwareUpdateTask", "marrowd",
                                                      "Taking Software Update power assertion",
                                                      "Software update power assertion failed"));
  setSystemSleepAssertion(_createAssertionWithType("PreventUserIdleSystemSleep", "marrowd",
                                                   "Disabling system idle sleep.",
                                                   "System sleep prevention failed"));
  // Named unlike the other two, so that it can be told from them wherever assertions are listed.
  setDisplaySleepAssertion(_createAssertionWithType("PreventUserIdleDisplaySleep", "Kilnworks",
                                                    "Disabling user idle display sleep.",
                                                    "Display sleep prevention failed"));
}

// 0 when the machine refuses it.
PowerAssertionID MWStateManager::_createAssertionWithType(const char* type, const char* name,
                                                          const char* logMessage,
                                                          const char* errorMessage) {
  log(generalLogChannel(), LogLevel::standard, "%s", logMessage);
  PowerAssertionID assertion = 0;
  const std::uint32_t status =
      _powerAssertions.create(type, kPowerAssertionLevelOn, name, assertion);
  if (status != 0) {
    log(generalLogChannel(), LogLevel::error, "%s: %u", errorMessage, status);
    return 0;
  }
  return assertion;
}

}  // namespace marrow
