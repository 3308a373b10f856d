// Whole files of a test.
#pragma once

#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>

namespace marrow {

inline std::string fileText(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << path;
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

inline void writeFile(const std::string& path, const std::string& text) {
  std::ofstream file(path, std::ios::binary);
  file << text;
  file.close();
  EXPECT_TRUE(file) << path;
}

}  // namespace marrow
