// A moment that a child process notes for its parent.
#pragma once

#include <chrono>

namespace marrow {

class SharedMoment {
 public:
  // To be made before the child is. std::runtime_error without memory.
  SharedMoment();
  ~SharedMoment();
  SharedMoment(const SharedMoment&) = delete;
  SharedMoment& operator=(const SharedMoment&) = delete;

  // Notes the present one.
  void set() const { *_moment = std::chrono::steady_clock::now(); }
  std::chrono::steady_clock::time_point get() const { return *_moment; }

 private:
  std::chrono::steady_clock::time_point* const _moment;
};

}  // namespace marrow
