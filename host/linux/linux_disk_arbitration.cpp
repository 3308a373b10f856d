#include "host/linux/linux_disk_arbitration.h"

#include "host/linux/linux_da_session.h"

namespace marrow {

std::unique_ptr<DASession> LinuxDiskArbitration::createSession() {
  return std::make_unique<LinuxDASession>(
      _services, _procfs, _gate, [this](const std::string& reason) {
        _missingGate.report("Mounts are refused by claims alone, and no attempt is reported: " +
                            reason);
      });
}

}  // namespace marrow
