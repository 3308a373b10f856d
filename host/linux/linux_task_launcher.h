// Runs programs with posix_spawn(3).
#pragma once

#include "host/linux/wait_watch.h"
#include "host/task_launcher.h"

#include <cstddef>

namespace marrow {

// A child gets nothing of the daemon's but its folder, umask and limits: descriptor 0 reads from
// /dev/null, 1 and 2 are the pipe, no other is open; no signal is blocked or ignored, scheduling is
// the default, and the environment is PATH and LANG.
class LinuxTaskLauncher final : public TaskLauncher {
 public:
  struct Settings {
    // Where each process has a folder with its oom_score_adj (proc(5)).
    std::string processes = "/proc";
    // Output beyond this many bytes is read and dropped, and the text says so at its end.
    std::size_t outputLimit = std::size_t{64} << 20U;
  };

  // The watch is told of programs that take long; it outlives this object and its tasks.
  explicit LinuxTaskLauncher(WaitWatch& waits);
  LinuxTaskLauncher(WaitWatch& waits, Settings settings);

  std::unique_ptr<LaunchedTask> launch(const std::string& path,
                                       const std::vector<std::string>& arguments,
                                       ErrorSlot error) override;

 private:
  WaitWatch& _waits;
  const Settings _settings;
};

}  // namespace marrow
