// Ctrl-C and its like, taken when it suits: a rehearsal always ends through its guards.
#pragma once

#include "rehearsal/descriptor.h"

namespace marrow::rehearsal {

// While one exists, SIGINT, SIGTERM, SIGHUP and SIGQUIT wait for check(). Make one before the first
// process is started; programs that are started get their signals back (programs.h).
class Interruption {
 public:
  Interruption();
  ~Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

  // Throws Interrupted when one of the signals came.
  void check();

  // Readable when one came.
  int descriptor() const { return _signals.number(); }

  // Whether it is one of the signals above.
  static bool isEnding(int signal);

  // For a child that is about to run something else: all signals as they were.
  static void restoreSignals();

 private:
  // The number of one that came, 0 when none did.
  int take();

  Descriptor _signals;
};

}  // namespace marrow::rehearsal
