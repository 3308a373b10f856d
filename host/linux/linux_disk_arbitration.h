// Disk arbitration for a kernel that asks nobody before a mount: each block device is put to the
// session's callback ahead of any mount, and one whose mount is refused is claimed. Where the
// kernel reports mount attempts, each of them is put to the callback too.
#pragma once

#include "host/disk_arbitration.h"
#include "host/linux/claims.h"
#include "host/linux/device_stack.h"
#include "host/linux/linux_device_registry.h"
#include "host/linux/missing_service.h"
#include "host/linux/mount_gate.h"
#include "host/linux/mount_table.h"
#include "host/log.h"

#include <memory>
#include <string>
#include <utility>

namespace marrow {

class LinuxDiskArbitration : public DiskArbitration {
 public:
  struct Services {
    const BlockDevices& devices;
    const DeviceStack& stack;
    const MountTable& mountTable;
    LinuxDeviceRegistry& registry;
    Claims& claims;
    LogHandle& log;
  };

  LinuxDiskArbitration(const Services& services, std::string procfs, MountGatePlaces gate)
      : _services(services),
        _procfs(std::move(procfs)),
        _gate(std::move(gate)),
        _missingGate(services.log, LogLevel::info) {}

  std::unique_ptr<DASession> createSession() override;

 private:
  Services _services;
  std::string _procfs;
  MountGatePlaces _gate;
  MissingService _missingGate;
};

}  // namespace marrow
