// Strings of C libraries.
#pragma once

#include <string>

namespace marrow {

// The string, or an empty one where the library has none (a null pointer).
inline std::string textOrEmpty(const char* text) { return text == nullptr ? std::string() : text; }

}  // namespace marrow
