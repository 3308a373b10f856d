// The migrator tool's progress reports: a decimal percentage and a line end each, written to a
// FIFO.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace marrow {

// The percentage (0 to 100) that what was read at once reports, absent when its number is outside
// that range. Only the number at the front counts: white space is skipped, then come an optional
// sign and decimal digits. Without a number there, and in text that is not UTF-8, it is 0.
std::optional<std::int64_t> reportedPercentage(std::string_view bytes);

}  // namespace marrow
