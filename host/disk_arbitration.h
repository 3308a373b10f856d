// The disk-arbitration service asks its sessions before a volume is mounted. A session's callback
// runs on the queue on which the session is scheduled.
#pragma once

#include "host/device_registry.h"
#include "host/task_queues.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace marrow {

// The disk that somebody wants to mount; valid during the callback.
class DADisk {
 public:
  virtual ~DADisk() = default;

  virtual std::string bsdName() const = 0;

  // A new reference to the disk's media entry, which the caller gives back; null when the disk has
  // no entry in the device registry.
  virtual RegistryEntry copyMediaEntry() = 0;
};

// A refusal.
struct DADissent {
  std::uint32_t status = 0;
  std::string statusText;
};

// The status of an operation that is not permitted.
inline constexpr std::uint32_t kDAReturnNotPermitted = 0xF8DA0004;

// Absent means that the mount may go on.
using DAMountApproval = std::function<std::optional<DADissent>(DADisk&)>;

// One thread uses a session. Destroying it unschedules it.
class DASession {
 public:
  virtual ~DASession() = default;

  // Asks the callback before every mount of any disk. Call it before the session is scheduled.
  virtual void registerMountApproval(DAMountApproval callback) = 0;

  // Schedules the session: returns when the disks that are there already have been asked about.
  // Null unschedules it: returns when the queue has drained and no mount is refused any more. Never
  // call it on that queue.
  virtual void setQueue(std::shared_ptr<SerialTaskQueue> queue) = 0;
};

class DiskArbitration {
 public:
  virtual ~DiskArbitration() = default;

  virtual std::unique_ptr<DASession> createSession() = 0;
};

}  // namespace marrow
