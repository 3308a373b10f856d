// How punctual something is that happens once a second.
#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

namespace marrow {

struct Punctuality {
  std::uint64_t ticks = 0;
  std::uint64_t missed = 0;
  // Milliseconds behind whole seconds from the most punctual one: the latest one, and by how much
  // the middle one of the last quarter is behind the middle one of the first.
  double latest = 0;
  double drift = 0;
};

// Of moments in order. What follows one within half a second belongs to it. std::runtime_error for
// less than two ticks.
Punctuality punctualityOf(const std::vector<std::chrono::steady_clock::time_point>& moments);

}  // namespace marrow
