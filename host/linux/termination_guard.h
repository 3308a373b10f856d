// Holds termination signals off while a live place is being changed.
#pragma once

namespace marrow {

// While any of them lives, SIGHUP, SIGINT, SIGQUIT and SIGTERM are only noted, whichever thread
// they reach; when the last one goes, each that came is sent to the process again. A signal that is
// ignored stays so. Any thread, but nothing else may change the handlers of these signals
// meanwhile.
class TerminationGuard {
 public:
  TerminationGuard();
  TerminationGuard(const TerminationGuard&) = delete;
  TerminationGuard& operator=(const TerminationGuard&) = delete;
  ~TerminationGuard();
};

}  // namespace marrow
