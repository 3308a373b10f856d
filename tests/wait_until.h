// Waits of a test for what another process or thread does.
#pragma once

#include <chrono>
#include <thread>

namespace marrow {

// Asks again every few milliseconds; false when the answer is not yes within half a minute.
template <typename Question>
bool waitUntil(const Question& question) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!question()) {
    if (std::chrono::steady_clock::now() > deadline) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

}  // namespace marrow
