// Disk arbitration: somebody else's wish to mount a volume is put to every scheduled session, on
// its queue.
#pragma once

#include "host/disk_arbitration.h"
#include "tests/host/calls.h"
#include "tests/host/in_memory_partitions.h"
#include "tests/host/in_memory_registry.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace marrow {

class InMemorySession;

class InMemoryArbitration : public DiskArbitration {
 public:
  InMemoryArbitration(Calls& calls, InMemoryPartitions& partitions, InMemoryRegistry& registry);
  ~InMemoryArbitration() override;

  // Scheduling a session puts every disk and volume that is there to its callback, and later each
  // one that appears.
  std::unique_ptr<DASession> createSession() override;

  // Somebody else tries to mount the volume: the dissent that refuses it, or absent, and then the
  // volume is mounted at "/Volumes/NAME" (where the name is no volume, nothing is mounted).
  std::optional<DADissent> requestMount(const std::string& bsdName);

  // True while some session's last answer about it was a dissent.
  bool isRefused(const std::string& bsdName) const;

  // Sessions that were created and not destroyed, and those of them that have a queue.
  std::size_t sessions() const { return _sessions.size(); }
  std::size_t scheduledSessions() const;

 private:
  friend class InMemorySession;
  void appeared(const std::string& bsdName);

  Calls& _calls;
  InMemoryPartitions& _partitions;
  InMemoryRegistry& _registry;
  std::vector<InMemorySession*> _sessions;
};

}  // namespace marrow
