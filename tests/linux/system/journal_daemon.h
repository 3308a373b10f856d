// A systemd-journald of a test's own (package systemd): its /run is the test's, its mounts and its
// network are nobody else's, and it has no /dev/kmsg.
#pragma once

#include "tests/contract/system/scratch_folder.h"
#include "tests/linux/system/journal_entries.h"

#include <string>
#include <sys/types.h>
#include <vector>

namespace marrow {

class JournalDaemon {
 public:
  JournalDaemon() = default;
  JournalDaemon(const JournalDaemon&) = delete;
  JournalDaemon& operator=(const JournalDaemon&) = delete;
  ~JournalDaemon() { end(); }

  // Returns when it listens. What it took in an earlier life is still there.
  void start();

  // Lets it take what was sent to it, and end.
  void end();

  // SIGSTOP and SIGCONT.
  void halt();
  void proceed();

  std::string socket() const { return _run.at("systemd/journal/socket"); }

  // What journalctl(1) finds by these matches, the oldest first.
  std::vector<JournalFields> entries(const std::string& matches) const;

 private:
  void awaitAllThatWasSent();

  const ScratchFolder _run;
  pid_t _process = 0;
  int _marks = 0;
};

}  // namespace marrow
