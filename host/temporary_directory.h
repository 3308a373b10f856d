// The process's own temporary directory. Any thread.
#pragma once

#include <string>

namespace marrow {

class TemporaryDirectory {
 public:
  virtual ~TemporaryDirectory() = default;

  // Made on first use, for the daemon alone. The path comes back also when it could not be made.
  virtual std::string path() = 0;
};

}  // namespace marrow
