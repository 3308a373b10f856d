// The second gate before the volumes, where the kernel has one to offer: programs of the BPF LSM
// report every attempt of another process to mount a block device, and refuse a further mount of a
// file system that is mounted already, which a claim cannot.
#pragma once

#include "host/linux/block_devices.h"
#include "host/linux/mount_attempts.h"
#include "host/linux/mount_gate_program.h"
#include "host/log.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace marrow {

// Where the kernel shows what it has, and what loads programs into it.
struct MountGatePlaces {
  std::string securityModules = "/sys/kernel/security/lsm";
  std::string kernelTypes = "/sys/kernel/btf/vmlinux";
  std::string processNamespace = "/proc/self/ns/pid";
  std::string library = "libbpf.so.1";
};

// One thread opens, starts and closes it; any may refuse and allow devices meanwhile.
class MountGate {
 public:
  using Listener = std::function<void(const MountAttempt&)>;

  MountGate(const BlockDevices& devices, const std::string& procfs, MountGatePlaces places,
            LogHandle& log);
  ~MountGate();
  MountGate(const MountGate&) = delete;
  MountGate& operator=(const MountGate&) = delete;

  // Why the machine has no such gate; nothing has happened then, and the calls below do nothing.
  // Absent when it is there: attempts are collected from here on.
  std::optional<std::string> open();

  // Who is told of the attempts, one after another. While the listener does not return, no more
  // than the kernel's buffer holds is kept; how many were lost is logged.
  void setListener(Listener listener);

  // Readable when there are attempts to tell of; -1 without a gate.
  int reports() const;

  // Tells of the attempts that there are. One thread at a time.
  void readReports();

  void refuse(const BlockDevice& device);
  void allow(const std::string& name);

  // Lets every mount pass again, and tells of the attempts that there were until then. Nobody may
  // be reading reports any more.
  void close();

 private:
  std::optional<std::string> startProgram();
  void tellOfLost();

  const MountGatePlaces _places;
  LogHandle& _log;
  MountAttempts _attempts;
  std::unique_ptr<MountGateProgram> _program;
  Listener _listener;
  std::uint64_t _toldLost = 0;
};

}  // namespace marrow
