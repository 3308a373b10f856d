// A file descriptor that closes itself.
#pragma once

#include <cerrno>
#include <unistd.h>
#include <utility>

namespace marrow {

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : _number(number) {}
  Descriptor(Descriptor&& other) noexcept : _number(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(_number, other._number);
    return *this;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { reset(); }

  explicit operator bool() const { return _number >= 0; }
  int number() const { return _number; }

  // Hands the descriptor over to the caller.
  int release() { return std::exchange(_number, -1); }

  // Closes it now, errors ignored, and leaves errno as it was.
  void reset() {
    if (_number >= 0) {
      const int number = errno;
      ::close(std::exchange(_number, -1));
      errno = number;
    }
  }

 private:
  int _number = -1;
};

}  // namespace marrow
