#include "operations/migrator_progress.h"

#include "host/unicode.h"

#include <limits>

namespace marrow {

namespace {

constexpr std::uint64_t kWhole = 100;

std::string_view withoutLeadingSpace(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(" \t\n\v\f\r");
  return begin == std::string_view::npos ? std::string_view() : text.substr(begin);
}

// The number that the digits at the front make, 0 without any; at most the largest there is.
std::int64_t leadingDigits(std::string_view text) {
  constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();
  std::int64_t value = 0;
  for (const char character : text) {
    if (character < '0' || character > '9') {
      break;
    }
    value = value > (kLargest - 9) / 10 ? kLargest : value * 10 + (character - '0');
  }
  return value;
}

std::int64_t leadingInteger(std::string_view text) {
  text = withoutLeadingSpace(text);
  const bool hasSign = text.starts_with('-') || text.starts_with('+');
  const std::int64_t magnitude = leadingDigits(text.substr(hasSign ? 1 : 0));
  return text.starts_with('-') ? -magnitude : magnitude;
}

}  // namespace

std::optional<std::int64_t> reportedPercentage(std::string_view bytes) {
  const std::int64_t number = isValidUTF8(bytes) ? leadingInteger(bytes) : 0;
  // As an unsigned number a negative one is beyond the whole as well.
  return static_cast<std::uint64_t>(number) <= kWhole ? std::optional(number) : std::nullopt;
}

}  // namespace marrow
