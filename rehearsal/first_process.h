// The first process of a machine: puts it together, starts marrowd and waits for its end.
#pragma once

#include "rehearsal/machine.h"

namespace marrow::rehearsal {

// Runs in the new namespaces and never returns. What goes wrong before marrowd starts is written to
// the descriptor `trouble` as a sentence; it is closed without a word when all went well. The exit
// status is that of marrowd, 128 and the signal's number when a signal ended it.
[[noreturn]] void runFirstProcess(const MachineSettings& settings, int trouble);

}  // namespace marrow::rehearsal
