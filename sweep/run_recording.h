// A run of a machine, recorded for what a loss of power would leave of it.
#pragma once

#include "rehearsal/descriptor.h"
#include "sweep/power_states.h"
#include "sweep/swept_machine.h"

namespace marrow::sweep {

struct Recording {
  RecordedRun run;
  // Holds the bytes of the writes.
  rehearsal::Descriptor log;
};

// Runs the machine once, from the state before any run, with its disk's writes recorded until it
// asks for its reboot. The disk is put back. Throws Problem.
Recording recordRun(SweptMachine& machine, const rehearsal::Workplace& workplace);

}  // namespace marrow::sweep
