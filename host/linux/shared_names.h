// Names that two threads take one by one.
#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace marrow {

// For any thread.
class SharedNames {
 public:
  explicit SharedNames(std::vector<std::string> names) : _names(std::move(names)) {}

  // The next one, which nobody else gets; nothing when all are taken.
  std::optional<std::string> take() {
    const std::lock_guard lock(_mutex);
    if (_names.empty()) {
      return std::nullopt;
    }
    std::string name = std::move(_names.back());
    _names.pop_back();
    return name;
  }

  bool areTaken() const {
    const std::lock_guard lock(_mutex);
    return _names.empty();
  }

 private:
  mutable std::mutex _mutex;
  std::vector<std::string> _names;
};

}  // namespace marrow
