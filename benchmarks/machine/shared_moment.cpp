#include "benchmarks/machine/shared_moment.h"

#include <new>
#include <stdexcept>
#include <sys/mman.h>

namespace marrow {

namespace {

using Moment = std::chrono::steady_clock::time_point;

Moment* sharedMoment() {
  void* const memory =
      ::mmap(nullptr, sizeof(Moment), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) {
    throw std::runtime_error("There is no memory to share.");
  }
  return new (memory) Moment;
}

}  // namespace

SharedMoment::SharedMoment() : _moment(sharedMoment()) {}

SharedMoment::~SharedMoment() { ::munmap(_moment, sizeof(Moment)); }

}  // namespace marrow
