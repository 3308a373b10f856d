// Makes the next boot one of the base system too, in case the daemon's run is cut:
// marrow-arm-retry. Its failure is no reason not to start the daemon.
#include "base_system/retry.h"
#include "base_system/upgrade_identity.h"
#include "host/linux/linux_boot_policy.h"
#include "host/linux/linux_kernel_variables.h"
#include "host/linux/linux_log.h"
#include "host/linux/linux_os_variant.h"

#include <cstdlib>

namespace {

constexpr int kNotInBaseSystem = 77;

}  // namespace

int main() {
  if (!marrow::LinuxOSVariant().isBaseSystem("com.corvane.marrowd")) {
    return kNotInBaseSystem;
  }
  marrow::LinuxLog service;
  const auto log = service.createHandle(marrow::kHostSubsystem, "arm-retry");
  marrow::EFIVariableStore store(*log);
  marrow::BootLoaderEntries entries(store);
  marrow::LinuxBootPolicy policy(store, *log);
  marrow::LinuxKernelVariables variables;
  const std::string upgrade = marrow::upgradeIdentity(variables, policy, *log);
  return marrow::Retry(store, entries, *log).arm(upgrade) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
