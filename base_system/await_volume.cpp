// Succeeds once a system volume of the booted group is there, and fails when none has come in time:
// marrow-await-volume. Whoever starts the daemon runs it first.
#include "base_system/volume_wait.h"
#include "host/error_record.h"
#include "host/linux/linux_kernel_variables.h"
#include "host/linux/linux_log.h"
#include "host/linux/linux_os_variant.h"

#include <cerrno>
#include <cstdlib>

namespace {

// A disk that has to spin up, or sits behind a slow controller, takes up to a minute.
constexpr std::chrono::seconds kLimit{90};
constexpr int kNotInBaseSystem = 77;

bool awaitVolumeOf(const std::string& group, marrow::LogHandle& log) {
  if (marrow::waitForSystemVolume(group, kLimit, log)) {
    return true;
  }
  log.log(marrow::LogLevel::error, "No system volume of group " + group + " has come within " +
                                       std::to_string(kLimit.count()) + " seconds");
  return false;
}

}  // namespace

int main() {
  if (!marrow::LinuxOSVariant().isBaseSystem("com.corvane.marrowd")) {
    return kNotInBaseSystem;
  }
  marrow::LinuxLog service;
  const auto log = service.createHandle(marrow::kHostSubsystem, "await-volume");
  const auto group = marrow::LinuxKernelVariables().string("kern.bootuuid");
  if (!group) {
    log->log(marrow::LogLevel::error,
             "Cannot read kern.bootuuid: " + marrow::errorNumberText(errno));
    return EXIT_FAILURE;
  }
  return awaitVolumeOf(*group, *log) ? EXIT_SUCCESS : EXIT_FAILURE;
}
