// Leaves errno as it was found, whatever is called in between.
#pragma once

#include <cerrno>

namespace marrow {

class ErrnoKeeper {
 public:
  ErrnoKeeper() = default;
  ErrnoKeeper(const ErrnoKeeper&) = delete;
  ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;
  ~ErrnoKeeper() { errno = _number; }

 private:
  const int _number = errno;
};

}  // namespace marrow
