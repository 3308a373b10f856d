// Disk arbitration for a kernel that asks nobody before a mount: each block device is put to the
// session's callback ahead of any mount, and one whose mount is refused is claimed.
#pragma once

#include "host/disk_arbitration.h"
#include "host/linux/claims.h"
#include "host/linux/device_stack.h"
#include "host/linux/linux_device_registry.h"
#include "host/linux/mount_table.h"
#include "host/log.h"

#include <memory>
#include <string>

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

  LinuxDiskArbitration(const Services& services, std::string procfs)
      : _services(services), _procfs(std::move(procfs)) {}

  std::unique_ptr<DASession> createSession() override;

 private:
  Services _services;
  std::string _procfs;
};

}  // namespace marrow
