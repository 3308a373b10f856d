// Something done in a process of its own, for what it does to that process stays there.
#pragma once

#include <cstring>
#include <functional>
#include <stdexcept>
#include <string>
#include <type_traits>

namespace marrow {

// Calls `work` in a child process and hands its bytes back. What it throws becomes a
// std::runtime_error with the same words. The child dies with this process.
std::string bytesOfChild(const std::function<std::string()>& work);

// The same for a plain value.
template <typename Value>
Value valueOfChild(const std::function<Value()>& work) {
  static_assert(std::is_trivially_copyable_v<Value>);
  const std::string bytes = bytesOfChild([&work] {
    const Value value = work();
    std::string copy(sizeof value, '\0');
    std::memcpy(copy.data(), &value, sizeof value);
    return copy;
  });
  if (bytes.size() != sizeof(Value)) {
    throw std::runtime_error("A measuring process was ended.");
  }
  Value value{};
  std::memcpy(&value, bytes.data(), sizeof value);
  return value;
}

}  // namespace marrow
