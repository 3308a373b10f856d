// Ends processes that stand in the way: politely first, then by force. Any thread.
#pragma once

#include "host/linux/mount_holders.h"
#include "host/log.h"

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace marrow {

// How long a process has to end itself, and how long the kernel has to end one that was killed.
inline constexpr std::chrono::seconds kTermPatience{2};
inline constexpr std::chrono::seconds kKillPatience{2};

class ProcessEnd {
 public:
  ProcessEnd(std::string procfs, LogHandle& log);

  // SIGTERM for each process that `find` tells of; those that it still tells of two seconds later
  // get SIGKILL. Returns as soon as none is left, at the latest when the kernel should have ended
  // the last. Process 1, this one, udev and the journal are left alone.
  void end(const std::function<std::vector<HolderProcess>()>& find) const;

 private:
  void signal(const std::vector<HolderProcess>& processes, int number,
              std::chrono::seconds patience) const;
  bool isProtected(pid_t process) const;

  std::string _procfs;
  LogHandle& _log;
};

}  // namespace marrow
