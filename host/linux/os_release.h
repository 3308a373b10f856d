// Values of an os-release file, os-release(5).
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace marrow {

// What the last assignment NAME=VALUE gives, with quotes and backslashes taken off as a shell does.
// Absent when there is none; an assignment that is not well-formed (an open quote, more than one
// word) is none.
std::optional<std::string> osReleaseValue(std::string_view text, std::string_view name);

}  // namespace marrow
