// A system call of a traced program, as its tracer sees it.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <sys/types.h>

namespace marrow::sweep {

struct SystemCall {
  // Of this machine's architecture.
  std::uint64_t number = 0;
  // Before the kernel does anything, or after all was done.
  bool atEntry = true;
  pid_t thread = 0;
  // Known at the entry; at the exit, those of the entry.
  std::array<std::uint64_t, 6> arguments{};
};

// "entry of renameat2".
std::string describe(const SystemCall& call);

// Whether the call may change what others see: files, mounts, processes, devices. Writes to
// terminals, pipes and the like do not count.
bool changesSomething(const SystemCall& call);

// Has the kernel tell this process's tracer of no other calls than those that may change something
// (and of some more), its children's included (seccomp(2)). Ends the process when that fails.
void showOnlyChanges();

}  // namespace marrow::sweep
