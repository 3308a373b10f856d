// A folder in memory that goes with the test, and the files in it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <optional>
#include <string>

namespace marrow {

class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = "/dev/shm/marrow-firmware-XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) {
      ADD_FAILURE() << "cannot make " << name;
    }
    _path = name;
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code error;
    std::filesystem::remove_all(_path, error);
    EXPECT_FALSE(error) << _path << ": " << error.message();
  }

  std::string path(const std::string& name = {}) const {
    return name.empty() ? _path : _path + "/" + name;
  }

  std::string makeFolder(const std::string& name) const {
    std::filesystem::create_directories(path(name));
    return path(name);
  }

  void write(const std::string& name, const std::string& bytes) const {
    std::ofstream file(path(name), std::ios::binary | std::ios::trunc);
    file << bytes;
    ASSERT_TRUE(file.flush()) << path(name);
  }

  std::optional<std::string> read(const std::string& name) const {
    std::ifstream file(path(name), std::ios::binary);
    return file ? std::optional(std::string(std::istreambuf_iterator<char>(file), {}))
                : std::nullopt;
  }

  void remove(const std::string& name) const { std::filesystem::remove(path(name)); }

 private:
  std::string _path;
};

}  // namespace marrow
