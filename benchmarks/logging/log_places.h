// The places where messages go: a console, a journal and a kernel's log that are none of this
// machine's.
#pragma once

#include "benchmarks/logging/drain.h"
#include "benchmarks/no_log.h"
#include "host/linux/linux_files.h"
#include "host/linux/linux_log.h"
#include "rehearsal/terminal.h"
#include "rehearsal/workplace.h"

#include <optional>

namespace marrow {

enum class JournalPlan { absent, read, unread };

struct LogPlan {
  bool console = false;  // a terminal that somebody reads
  JournalPlan journal = JournalPlan::absent;
  bool kernelLog = false;  // a file in memory; else what comes for it goes to /dev/null
};

// To be made in a process of its own, whose mounts it changes, once: what the daemon's channels
// (daemon/log_channels.h) take goes there.
class LogPlaces {
 public:
  // Throws rehearsal::Problem where this machine does not let it.
  explicit LogPlaces(const LogPlan& plan);
  ~LogPlaces();
  LogPlaces(const LogPlaces&) = delete;
  LogPlaces& operator=(const LogPlaces&) = delete;

 private:
  void openJournal(bool isRead);
  void mirrorToConsole();

  const rehearsal::Workplace _workplace;
  const std::string _folder;
  const rehearsal::Terminal _console;
  rehearsal::Descriptor _journal;
  std::optional<Drain> _journalReader;
  std::optional<Drain> _consoleReader;
  NoLog _noLog;
  WaitWatch _waits;
  LinuxFiles _files;
  LinuxLog _log;
};

}  // namespace marrow
