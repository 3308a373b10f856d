// What a running process has used so far.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <sys/types.h>

namespace marrow {

// Of all threads together (proc(5)).
struct ProcessSample {
  std::uint64_t wakeUps = 0;            // voluntary_ctxt_switches: every one ended in one
  std::uint64_t nanoseconds = 0;        // on a processor, from /proc/PID/task/TID/schedstat
  std::uint64_t residentKibibytes = 0;  // VmRSS
  std::uint64_t mostKibibytes = 0;      // VmHWM
  std::uint64_t pageFaults = 0;         // minflt and majflt of /proc/PID/stat
  std::uint64_t threads = 0;
  std::uint64_t descriptors = 0;
};

// Nothing when the process has gone. Wake-ups and time of threads of these names do not count.
std::optional<ProcessSample> sampleOf(pid_t process, const std::set<std::string>& without = {});

// The process of this name among those that `ancestor` has started, its children and theirs.
std::optional<pid_t> descendantNamed(pid_t ancestor, const std::string& name);

}  // namespace marrow
