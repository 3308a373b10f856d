// Somebody who looks at the live tree while it is replaced.
#pragma once

#include "benchmarks/sample_tree.h"

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>

namespace marrow {

struct Seen {
  std::uint64_t looks = 0;
  std::uint64_t missing = 0;       // a file of the tree was not there
  std::uint64_t mixed = 0;         // files of both trees at once
  double missingMilliseconds = 0;  // from the first look of the longest such stretch to its end
  double mixedMilliseconds = 0;
};

// Looks on a thread of its own, without a pause, from its construction to stop().
class Watcher {
 public:
  Watcher(const std::string& live, const TreeShape& shape);
  ~Watcher() { stop(); }
  Watcher(const Watcher&) = delete;
  Watcher& operator=(const Watcher&) = delete;

  // What was seen; more of nothing at a second call.
  Seen stop();

 private:
  void look();

  std::string _first;
  std::string _last;
  Seen _seen;
  std::atomic<bool> _stopped{false};
  std::thread _thread;
};

}  // namespace marrow
