// Waiting for what the kernel finishes a little after the call that began it.
#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace marrow {

// Looks again, after pauses that grow from a millisecond, until it is so or a second has passed.
inline bool settles(const std::function<bool()>& isSo) {
  constexpr std::chrono::seconds kPatience{1};
  const auto limit = std::chrono::steady_clock::now() + kPatience;
  for (std::chrono::milliseconds pause{1}; !isSo(); pause *= 2) {
    if (std::chrono::steady_clock::now() + pause > limit) {
      return isSo();
    }
    std::this_thread::sleep_for(pause);
  }
  return true;
}

}  // namespace marrow
