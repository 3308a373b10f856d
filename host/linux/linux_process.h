// The daemon's process on Linux.
#pragma once

#include "host/log.h"
#include "host/process.h"

#include <string>

namespace marrow {

class LinuxProcess final : public Process {
 public:
  // `oomScorePath` is the process's own file of proc_pid_oom_score_adj(5).
  explicit LinuxProcess(LogHandle& log, std::string oomScorePath = "/proc/self/oom_score_adj");

  // Keeps the process from being killed when memory runs out (its children are not: the task
  // launcher takes that back), and tells the service manager that it is ready, where one listens
  // at $NOTIFY_SOCKET (sd_notify(3)). What fails is told in the log.
  void setIsDaemon(bool isDaemon) override;

  // Flushes standard output and standard error first.
  [[noreturn]] void exit(int status) override;

  [[noreturn]] void failAssertion(const std::string& text) override;

 private:
  LogHandle& _log;
  const std::string _oomScorePath;
};

}  // namespace marrow
