#include "tests/host/run_ended.h"

#include <gtest/gtest.h>

namespace marrow {

RunEnded endOf(const std::function<void()>& run) {
  try {
    run();
  } catch (const RunEnded& end) {
    return end;
  }
  ADD_FAILURE() << "the run did not end";
  return {};
}

}  // namespace marrow
