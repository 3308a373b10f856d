// What every fuzzer needs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

// libFuzzer's entry; llvm.org/docs/LibFuzzer.html.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace marrow {

inline std::string_view fuzzText(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// Ends the run as a finding.
inline void expect(bool held, const char* what) {
  if (!held) {
    std::fprintf(stderr, "Does not hold: %s\n", what);
    std::abort();
  }
}

// The text up to its first line end, which is taken off with it.
inline std::string_view takeLine(std::string_view& text) {
  const std::size_t end = text.find('\n');
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return line;
}

}  // namespace marrow
