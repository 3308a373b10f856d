#include "host/unicode.h"

#include <array>

namespace marrow {

namespace {

// The well-formed byte sequences of RFC 3629, section 4: for each range of first bytes the length
// and the bounds of the second byte. Every later byte is 0x80 to 0xBF.
struct Form {
  unsigned char firstLow, firstHigh, secondLow, secondHigh;
  std::size_t length;
};
constexpr std::array<Form, 9> kForms = {{
    {0x00, 0x7F, 0x00, 0x00, 1},
    {0xC2, 0xDF, 0x80, 0xBF, 2},
    {0xE0, 0xE0, 0xA0, 0xBF, 3},
    {0xE1, 0xEC, 0x80, 0xBF, 3},
    {0xED, 0xED, 0x80, 0x9F, 3},
    {0xEE, 0xEF, 0x80, 0xBF, 3},
    {0xF0, 0xF0, 0x90, 0xBF, 4},
    {0xF1, 0xF3, 0x80, 0xBF, 4},
    {0xF4, 0xF4, 0x80, 0x8F, 4},
}};

bool within(char byte, unsigned char low, unsigned char high) {
  const auto value = static_cast<unsigned char>(byte);
  return value >= low && value <= high;
}

bool matches(std::string_view bytes, const Form& form) {
  if (!within(bytes[0], form.firstLow, form.firstHigh) || bytes.size() < form.length) {
    return false;
  }
  if (form.length > 1 && !within(bytes[1], form.secondLow, form.secondHigh)) {
    return false;
  }
  for (std::size_t index = 2; index < form.length; ++index) {
    if (!within(bytes[index], 0x80, 0xBF)) {
      return false;
    }
  }
  return true;
}

// The length of the character at the front of `bytes`, or 0 when there is none.
std::size_t characterLength(std::string_view bytes) {
  for (const Form& form : kForms) {
    if (matches(bytes, form)) {
      return form.length;
    }
  }
  return 0;
}

}  // namespace

bool isValidUTF8(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::size_t length = characterLength(bytes);
    if (length == 0) {
      return false;
    }
    bytes.remove_prefix(length);
  }
  return true;
}

std::size_t utf16Length(std::string_view bytes) {
  std::size_t units = 0;
  while (!bytes.empty()) {
    const std::size_t length = characterLength(bytes);
    units += length == 4 ? 2 : 1;
    bytes.remove_prefix(length == 0 ? 1 : length);
  }
  return units;
}

}  // namespace marrow
