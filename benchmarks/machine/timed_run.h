// A whole run, timed from outside: nothing traces it.
#pragma once

#include "benchmarks/machine/prepared_machine.h"

namespace marrow {

// From the moment before the program is executed, in milliseconds. The two of the console are 0 for
// a program that writes nothing there.
struct RunTimes {
  double toFirstLine = 0;
  double toLastLine = 0;
  double toEnd = 0;  // of the machine: rebooted, or the program has ended
};

// std::runtime_error when the daemon's run does not go well, or the other program fails.
RunTimes timeRun(const MachinePrograms& programs);

// Reads what has come of a machine that was to reboot, or of a program that was to end with 0.
// std::runtime_error unless it did, and the console, where there is any text, tells of success.
void requireSuccess(const rehearsal::MachineEnd& end, const std::string& console);

}  // namespace marrow
