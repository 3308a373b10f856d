// A file descriptor that closes itself.
#pragma once

#include <unistd.h>
#include <utility>

namespace marrow::rehearsal {

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : _number(number) {}
  Descriptor(Descriptor&& other) noexcept : _number(std::exchange(other._number, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(_number, other._number);
    return *this;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { reset(); }

  explicit operator bool() const { return _number >= 0; }
  int number() const { return _number; }

  void reset() {
    if (_number >= 0) {
      ::close(std::exchange(_number, -1));
    }
  }

 private:
  int _number = -1;
};

}  // namespace marrow::rehearsal
