// A loss of power, for the disk of one machine.
#pragma once

#include <string>
#include <sys/types.h>

namespace marrow::rehearsal {

// Stops every process of the machine whose first process is given, then shuts down the file systems
// that it has mounted from the disk ("loop3"), so that what has not reached the disk never will.
// Returns false when one of them knows no such shutdown (btrfs), and what is in memory will still
// be written. The processes are left stopped.
bool forgetUnwritten(pid_t firstProcess, const std::string& diskName);

}  // namespace marrow::rehearsal
