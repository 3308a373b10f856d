// A machine whose firmware and small services a contract is tried on: the services themselves, and
// what a test needs to prepare and to look at the machine from outside.
#pragma once

#include "host/boot_policy.h"
#include "host/firmware_variables.h"
#include "host/graphics_server.h"
#include "host/installer_utilities.h"
#include "host/kernel_variables.h"
#include "host/key_store.h"
#include "host/os_variant.h"
#include "host/power_assertions.h"
#include "host/progress_display.h"
#include "host/reboot.h"

#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace marrow {

// The machine has the container of the in-memory host's default machine.
class FirmwareMachine {
 public:
  virtual ~FirmwareMachine() = default;

  virtual OSVariant& osVariant() = 0;
  virtual KernelVariables& kernelVariables() = 0;
  virtual FirmwareVariables& firmwareVariables() = 0;
  virtual BootPolicy& bootPolicy() = 0;
  virtual KWUtilities& installerUtilities() = 0;
  virtual PowerAssertions& powerAssertions() = 0;
  virtual ProgressDisplay& progressDisplay() = 0;
  virtual GraphicsServer& graphicsServer() = 0;
  virtual KeyStore& keyStore() = 0;
  virtual Reboot& reboot() = 0;

  // The services begin anew, as after a restart of the machine.
  virtual void restart() = 0;

  // What kind of system it is; set before the first question.
  virtual void makeBaseSystem(bool baseSystem) = 0;
  virtual void makeInternal(bool internal) = 0;
  // Absent: there is no such variable.
  virtual void setKernelVariable(const std::string& name,
                                 const std::optional<std::string>& value) = 0;
  virtual void setNonces(const std::optional<std::string>& inForce,
                         const std::optional<std::string>& proposed) = 0;
  // The variables can be neither written nor deleted from now on.
  virtual void refuseVariables() = 0;
  // A key is stashed for the system to come.
  virtual void stageKey() = 0;
  // The machine has a way to keep itself awake, or none.
  virtual void allowAssertions(bool allowed) = 0;

  virtual std::optional<std::string> nonce() = 0;
  virtual std::optional<std::string> proposedNonce() = 0;
  virtual bool keyIsCommitted() = 0;
  virtual bool chimeIsMuted() = 0;
  // Whether the machine starts from this group: once, or from now on.
  virtual bool isBlessed(const std::string& group, bool oneTime) = 0;
  // Whole percentages that have reached the display, in order.
  virtual std::vector<int> shownPercentages() = 0;
  virtual bool displayUpdatesAreEnabled() = 0;
  virtual bool wasRebooted() = 0;
  // Asks for a crash; what the machine's last message was. Absent when it did not crash.
  virtual std::optional<std::string> crash(std::uint32_t flags, const std::string& message) = 0;
};

using MakeFirmwareMachine = std::function<std::unique_ptr<FirmwareMachine>()>;

std::unique_ptr<FirmwareMachine> makeInMemoryFirmwareMachine();
std::unique_ptr<FirmwareMachine> makeLinuxFirmwareMachine();

// Each test of a contract is run on both.
class FirmwareContract : public testing::TestWithParam<MakeFirmwareMachine> {
 protected:
  const std::unique_ptr<FirmwareMachine> machine = GetParam()();
};

inline const auto kFirmwareMachines =
    testing::Values(MakeFirmwareMachine(makeInMemoryFirmwareMachine),
                    MakeFirmwareMachine(makeLinuxFirmwareMachine));

inline std::string firmwareMachineName(const testing::TestParamInfo<MakeFirmwareMachine>& info) {
  return info.index == 0 ? "InMemory" : "Linux";
}

}  // namespace marrow
