#include "benchmarks/programs.h"

#include <array>
#include <cstdio>
#include <stdexcept>

namespace marrow {

namespace {

struct Ended {
  int status;
  std::string output;
};

Ended run(const std::string& command) {
  FILE* const pipe = ::popen(("{ " + command + "; } </dev/null").c_str(), "re");
  if (pipe == nullptr) {
    throw std::runtime_error("Cannot start a shell for " + command);
  }
  std::string output;
  std::array<char, 4096> part{};
  while (const std::size_t length = std::fread(part.data(), 1, part.size(), pipe)) {
    output.append(part.data(), length);
  }
  return {::pclose(pipe), output};
}

}  // namespace

void runProgram(const std::string& command) { outputOf("{ " + command + "; } 2>&1"); }

std::string outputOf(const std::string& command) {
  auto [status, output] = run(command);
  if (status != 0) {
    throw std::runtime_error("Failed: " + command + "\n" + output);
  }
  if (output.ends_with('\n')) {
    output.pop_back();
  }
  return output;
}

}  // namespace marrow
