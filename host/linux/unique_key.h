// Keys that tell watched descriptors and timers apart.
#pragma once

#include <atomic>
#include <cstdint>

namespace marrow {

// Never 0, and never the same twice in a process. Any thread.
inline std::uint64_t uniqueKey() {
  static std::atomic<std::uint64_t> last = 0;
  return ++last;
}

}  // namespace marrow
