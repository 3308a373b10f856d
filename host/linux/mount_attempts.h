// Makes mount attempts out of what the kernel's side of the mount gate reports. One thread.
#pragma once

#include "host/linux/block_devices.h"
#include "host/linux/mount_gate_records.h"

#include <cstdint>
#include <deque>
#include <optional>
#include <string>

namespace marrow {

struct MountAttempt {
  BlockDevice device;
  std::string process;  // "mount (4242)"; its name alone where it has no number for us
};

class MountAttempts {
 public:
  MountAttempts(const BlockDevices& devices, std::string procfs)
      : _devices(devices), _procfs(std::move(procfs)) {}

  // Absent when no block device is meant, and for the second report of an attempt: one that is
  // denied late, because the file system is in use already, has been reported with its source.
  std::optional<MountAttempt> attemptOf(const MountAttemptRecord& record);

 private:
  std::optional<BlockDevice> deviceOf(const MountAttemptRecord& record) const;
  bool isTold(const MountAttemptRecord& record) const;
  void remember(std::uint64_t attempt);

  const BlockDevices& _devices;
  std::string _procfs;
  std::deque<std::uint64_t> _told;  // the last ones
};

}  // namespace marrow
