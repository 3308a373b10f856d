// A field that several threads read and write, always whole.
#pragma once

#include <mutex>
#include <utility>

namespace marrow {

// Any thread may call any of it. An old value is released after the lock has been given back, so
// that releasing it may take time, or lead to another thread that reads the field.
template <typename Value>
class SynchronizedField {
 public:
  SynchronizedField() = default;
  explicit SynchronizedField(Value value) : _value(std::move(value)) {}

  Value load() const {
    const std::lock_guard lock(_mutex);
    return _value;
  }

  // Returns the old value.
  Value exchange(Value value) {
    const std::lock_guard lock(_mutex);
    return std::exchange(_value, std::move(value));
  }

  void store(Value value) { exchange(std::move(value)); }

 private:
  mutable std::mutex _mutex;
  Value _value{};
};

}  // namespace marrow
