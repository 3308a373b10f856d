#include "power/state_manager.h"

#include "daemon/log_channels.h"

#include <utility>

namespace marrow {

namespace {

// One assertion: what is asked of the machine, and what the log says before and when it fails.
struct AssertionRequest {
  const char* type;
  const char* name;
  const char* logMessage;
  const char* errorMessage;
};

constexpr AssertionRequest kSoftwareUpdate = {"SoftwareUpdateTask", "marrowd",
                                              "Taking Software Update power assertion",
                                              "Software update power assertion failed"};
constexpr AssertionRequest kSystemSleep = {"PreventUserIdleSystemSleep", "marrowd",
                                           "Disabling system idle sleep.",
                                           "System sleep prevention failed"};
// A name of its own, so that it can be told from the other two wherever assertions are listed.
constexpr AssertionRequest kDisplaySleep = {"PreventUserIdleDisplaySleep", "Kilnworks",
                                            "Disabling user idle display sleep.",
                                            "Display sleep prevention failed"};

PowerAssertionID createAssertion(PowerAssertions& powerAssertions,
                                 const AssertionRequest& request) {
  log(generalLogChannel(), LogLevel::standard, "%s", request.logMessage);
  PowerAssertionID assertion = 0;
  const std::uint32_t status =
      powerAssertions.create(request.type, kPowerAssertionLevelOn, request.name, assertion);
  if (status != 0) {
    log(generalLogChannel(), LogLevel::error, "%s: %u", request.errorMessage, status);
    return 0;
  }
  return assertion;
}

}  // namespace

MWStateManager::MWStateManager(std::shared_ptr<MWStorageController> storageController,
                               PowerAssertions& powerAssertions) {
  setStorageController(std::move(storageController));
  _enablePowerAssertions(powerAssertions);
}

void MWStateManager::_enablePowerAssertions(PowerAssertions& powerAssertions) {
  setSoftwareUpdateAssertion(createAssertion(powerAssertions, kSoftwareUpdate));
  setSystemSleepAssertion(createAssertion(powerAssertions, kSystemSleep));
  setDisplaySleepAssertion(createAssertion(powerAssertions, kDisplaySleep));
}

}  // namespace marrow
