// System calls of this test program that fail when a test says so: the program's own definitions
// stand in front of the C library's and hand on what is not to fail.
#pragma once

#include <functional>

namespace marrow {

// The errno value that each call fails with; 0 hands it on. One thread sets and calls.
struct FailingCalls {
  int fsync = 0;
  int fsyncFrom = 1;  // counted from 1: the first call that fails
  int syncfs = 0;
  int renameExchange = 0;
  int mount = 0;

  // Runs inside of each syncfs(2), which takes as long; where it is empty nothing does.
  std::function<void()> duringSyncfs{};

  // How often each was called.
  int fsyncs = 0;
  int syncfses = 0;
  int exchanges = 0;
  int mounts = 0;
};

extern FailingCalls failingCalls;

}  // namespace marrow
