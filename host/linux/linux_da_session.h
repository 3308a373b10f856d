// A session of the disk arbitration. Its queue alone runs the callback; a thread of its own watches
// for devices that appear and for claimed devices that become free.
#pragma once

#include "host/linux/device_events.h"
#include "host/linux/linux_disk_arbitration.h"

#include <memory>
#include <optional>
#include <string>

namespace marrow {

class LinuxDASession : public DASession {
 public:
  LinuxDASession(const LinuxDiskArbitration::Services& services, const std::string& procfs);
  ~LinuxDASession() override;

  void registerMountApproval(DAMountApproval callback) override;
  void setQueue(std::shared_ptr<SerialTaskQueue> queue) override;

 private:
  void schedule();
  void unschedule();
  void askAboutAll();
  void deviceChanged(const BlockDeviceEvent& event);
  void askLater(const BlockDevice& device);
  bool ask(const BlockDevice& device);
  void claimAllStacked();
  void claimIfStacked(const BlockDevice& device);
  bool isCovered(const BlockDevice& device) const;
  bool standsOnRefused(const BlockDevice& device) const;
  bool claimFreedDevices();
  bool canBecomeFreeUnseen(const BlockDevice& device) const;

  LinuxDiskArbitration::Services _services;
  DAMountApproval _callback;                // set before the session is scheduled
  std::shared_ptr<SerialTaskQueue> _queue;  // changes only while no event thread runs
  DeviceEvents _events;
};

}  // namespace marrow
