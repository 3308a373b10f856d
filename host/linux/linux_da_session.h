// A session of the disk arbitration. Its queue alone runs the callback; a thread of its own watches
// for devices that appear and for claimed devices that become free, another one for mount attempts.
#pragma once

#include "host/linux/device_events.h"
#include "host/linux/linux_disk_arbitration.h"
#include "host/linux/mount_gate.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace marrow {

class LinuxDASession : public DASession {
 public:
  using MissingGate = std::function<void(const std::string& reason)>;

  // `missingGate` is told when the kernel reports no mount attempts.
  LinuxDASession(const LinuxDiskArbitration::Services& services, const std::string& procfs,
                 const MountGatePlaces& gate, MissingGate missingGate);
  ~LinuxDASession() override;

  void registerMountApproval(DAMountApproval callback) override;
  void setQueue(std::shared_ptr<SerialTaskQueue> queue) override;

 private:
  void schedule();
  void openGate();
  void unschedule();
  void askAboutAll();
  void deviceChanged(const BlockDeviceEvent& event);
  void askLater(const BlockDevice& device);
  bool ask(const BlockDevice& device);
  bool dissents(const BlockDevice& device);
  void mountAttempted(const MountAttempt& attempt);
  void answer(const MountAttempt& attempt);
  void refuse(const BlockDevice& device);
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
  MountGate _gate;
  MissingGate _missingGate;
};

}  // namespace marrow
