// Where a program calls the system: the same words for the same place in another run.
#pragma once

#include "sweep/system_call.h"

#include <string>

namespace marrow::sweep {

// The call's name and what it is about: "openat /etc/initrd-release", "fsync /run/marrow/...",
// "mmap". What differs from run to run in a path (numbers of processes, random endings) stands as
// "*". Empty when the program's memory cannot be read. The thread stands at the call's entry.
std::string placeOf(const SystemCall& call);

}  // namespace marrow::sweep
