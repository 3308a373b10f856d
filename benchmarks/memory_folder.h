// A folder in memory: what is measured there does not wait for any medium.
#pragma once

#include <string>

namespace marrow {

// A tmpfs(5) in the program's own mount namespace, which holds 1 GiB at most. Throws
// std::runtime_error when it cannot be had. Make the first before any thread is started.
class MemoryFolder {
 public:
  MemoryFolder();
  ~MemoryFolder();
  MemoryFolder(const MemoryFolder&) = delete;
  MemoryFolder& operator=(const MemoryFolder&) = delete;

  const std::string& path() const { return _path; }
  std::string at(const std::string& name) const { return _path + '/' + name; }

 private:
  std::string _path = "/var/tmp/marrow-benchmark-XXXXXX";
};

}  // namespace marrow
