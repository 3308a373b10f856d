// A folder of a test's own on the real machine, removed at its end.
#pragma once

#include <filesystem>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string>

namespace marrow {

class ScratchFolder {
 public:
  explicit ScratchFolder(std::string pattern = "/tmp/marrow-test-XXXXXX")
      : _path(std::move(pattern)) {
    if (::mkdtemp(_path.data()) == nullptr) {
      ADD_FAILURE() << "no folder " << _path;
    }
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder() {
    std::error_code error;
    std::filesystem::remove_all(_path, error);
    EXPECT_FALSE(error) << _path << ": " << error.message();
  }

  const std::string& path() const { return _path; }
  std::string at(const std::string& name) const { return _path + '/' + name; }

 private:
  std::string _path;
};

}  // namespace marrow
