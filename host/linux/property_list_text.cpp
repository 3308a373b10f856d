#include "host/linux/property_list_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <limits>

namespace marrow {

namespace {

constexpr std::string_view kWhiteSpace = " \t\n\r";
constexpr std::string_view kBase64 =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The whole text as an unsigned number.
std::optional<std::uint64_t> magnitudeFromText(std::string_view text) {
  int base = 10;
  if (text.starts_with("0x") || text.starts_with("0X")) {
    text.remove_prefix(2);
    base = 16;
  }
  std::uint64_t number = 0;
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number, base);
  return result.ec == std::errc() && result.ptr == end ? std::optional(number) : std::nullopt;
}

PropertyListValue integerValue(std::uint64_t magnitude) {
  constexpr auto kLargest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  if (magnitude <= kLargest) {
    return static_cast<std::int64_t>(magnitude);
  }
  return magnitude;
}

std::optional<PropertyListValue> negativeValue(std::uint64_t magnitude) {
  constexpr std::uint64_t kSmallest = std::uint64_t{1} << 63U;
  if (magnitude > kSmallest) {
    return std::nullopt;
  }
  return static_cast<std::int64_t>(0 - magnitude);
}

// 0 to 63, or -1.
int base64Digit(char character) {
  const std::size_t found = kBase64.find(character);
  return found == std::string_view::npos ? -1 : static_cast<int>(found);
}

std::string withoutWhiteSpace(std::string_view text) {
  std::string packed;
  std::copy_if(text.begin(), text.end(), std::back_inserter(packed), [](char character) {
    return kWhiteSpace.find(character) == std::string_view::npos;
  });
  return packed;
}

// Appends the bytes that four characters stand for; `padding` of them are "=".
bool decodeGroup(std::string_view group, std::size_t padding, PropertyListData& data) {
  constexpr std::size_t kGroup = 4;
  std::uint32_t bits = 0;
  for (std::size_t index = 0; index < kGroup; ++index) {
    const int digit = index < kGroup - padding ? base64Digit(group[index]) : 0;
    if (digit < 0) {
      return false;
    }
    bits = (bits << 6U) | static_cast<std::uint32_t>(digit);
  }
  for (std::size_t index = 0; index < 3 - padding; ++index) {
    data.push_back(static_cast<std::byte>(bits >> (16U - 8U * index)));
  }
  return true;
}

void encodeGroup(const std::byte* bytes, std::size_t count, std::string& text) {
  std::uint32_t bits = 0;
  for (std::size_t index = 0; index < 3; ++index) {
    bits = (bits << 8U) | (index < count ? std::to_integer<std::uint32_t>(bytes[index]) : 0U);
  }
  for (std::size_t index = 0; index < 4; ++index) {
    text += index <= count ? kBase64[(bits >> (18U - 6U * index)) & 0x3FU] : '=';
  }
}

// Whether the text is like the pattern, in which 0 stands for any digit.
bool matchesPattern(std::string_view text, std::string_view pattern) {
  return std::equal(
      text.begin(), text.end(), pattern.begin(), pattern.end(), [](char character, char expected) {
        return expected == '0' ? character >= '0' && character <= '9' : character == expected;
      });
}

bool isWithin(std::string_view digits, int lowest, int highest) {
  int number = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return number >= lowest && number <= highest;
}

}  // namespace

std::string_view trimWhiteSpace(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kWhiteSpace);
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(kWhiteSpace) - first + 1);
}

std::optional<PropertyListValue> integerFromText(std::string_view text) {
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) {
    text.remove_prefix(1);
  }
  const auto magnitude = magnitudeFromText(text);
  if (!magnitude) {
    return std::nullopt;
  }
  return negative ? negativeValue(*magnitude) : integerValue(*magnitude);
}

bool isRealText(std::string_view text) {
  if (text.starts_with('+')) {
    text.remove_prefix(1);
    if (text.starts_with('-')) {
      return false;
    }
  }
  double number = 0.0;
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number);
  return result.ec != std::errc::invalid_argument && result.ptr == end;
}

bool isDateText(std::string_view text) {
  return matchesPattern(text, "0000-00-00T00:00:00Z") && isWithin(text.substr(5, 2), 1, 12) &&
         isWithin(text.substr(8, 2), 1, 31) && isWithin(text.substr(11, 2), 0, 24) &&
         isWithin(text.substr(14, 2), 0, 59) && isWithin(text.substr(17, 2), 0, 60);
}

std::optional<PropertyListData> dataFromBase64(std::string_view text) {
  constexpr std::size_t kGroup = 4;
  const std::string packed = withoutWhiteSpace(text);
  const std::size_t digits = packed.find_last_not_of('=') + 1;  // 0 where there is none
  const std::size_t padding = packed.size() - digits;
  if (packed.size() % kGroup != 0 || padding > 2) {
    return std::nullopt;
  }
  PropertyListData data;
  data.reserve(packed.size() / kGroup * 3);
  for (std::size_t at = 0; at < packed.size(); at += kGroup) {
    const bool last = at + kGroup == packed.size();
    if (!decodeGroup(std::string_view{packed}.substr(at, kGroup), last ? padding : 0, data)) {
      return std::nullopt;
    }
  }
  return data;
}

std::string base64FromData(const PropertyListData& data) {
  std::string text;
  text.reserve((data.size() + 2) / 3 * 4);
  for (std::size_t at = 0; at < data.size(); at += 3) {
    encodeGroup(data.data() + at, std::min<std::size_t>(3, data.size() - at), text);
  }
  return text;
}

}  // namespace marrow
