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
  // Made by the daemon's own process, not by a child of it.
  bool isOwn = true;
  // Known at the entry; at the exit, those of the entry.
  std::array<std::uint64_t, 6> arguments{};
  // At the exit: what it returns, a negative errno value where it failed.
  std::int64_t result = 0;
};

// "renameat2".
std::string nameOf(const SystemCall& call);

// "entry of renameat2".
std::string describe(const SystemCall& call);

// What the descriptor in that argument of the call is open on, as proc_pid_fd(5) says it; empty
// when it is none.
std::string targetOf(const SystemCall& call, int argument);

// Whether the call may change what others see: files, mounts, processes, devices. Writes to
// terminals, pipes and the like do not count.
bool changesSomething(const SystemCall& call);

// What the kernel tells a process's tracer of, its children's calls included (seccomp(2)). Each
// ends the process when it cannot be had: no other calls than those that may change something (and
// some more), or those with one number alone.
void showOnlyChanges();
void showOnly(std::uint64_t number);

}  // namespace marrow::sweep
