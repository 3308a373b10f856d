// Words of the kernel's command line.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace marrow {

// The value of the last word NAME=VALUE. Words, and the double quotes around a value or a whole
// word, are read as the kernel reads them (lib/cmdline.c, next_arg); a quote within a value stays.
// Absent when there is no such word; a word without "=" is none.
std::optional<std::string> kernelParameter(std::string_view commandLine, std::string_view name);

}  // namespace marrow
