// Variables that the kernel publishes by name. Any thread.
#pragma once

#include <optional>
#include <string>

namespace marrow {

class KernelVariables {
 public:
  virtual ~KernelVariables() = default;

  // The variable's text, which may be empty. Absent with errno set when it cannot be read: ENOENT
  // when there is no such variable, otherwise what the read gave.
  virtual std::optional<std::string> string(const char* name) = 0;
};

}  // namespace marrow
