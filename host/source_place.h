// A place in the program's source: what std::source_location is where the standard library and the
// compiler both have it, which clang 14 has not.
#pragma once

namespace marrow {

struct SourcePlace {
  // Texts that live as long as the program. The file is named as it was for the compiler.
  const char* file = "";
  unsigned line = 0;  // from 1; 0 where the place is not known
  const char* function = "";

  // As a default argument: the place of the call.
  static constexpr SourcePlace current(const char* file = __builtin_FILE(),
                                       unsigned line = __builtin_LINE(),
                                       const char* function = __builtin_FUNCTION()) {
    return {file, line, function};
  }
};

}  // namespace marrow
