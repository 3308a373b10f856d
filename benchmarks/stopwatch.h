// How long something takes.
#pragma once

#include <chrono>

namespace marrow {

template <typename Work>
double millisecondsOf(const Work& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
  return time.count();
}

}  // namespace marrow
