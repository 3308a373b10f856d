#include "host/linux/text_cut.h"

namespace marrow {

namespace {

// A character of UTF-8 takes four bytes at most, all but its first of the form 10xxxxxx (RFC 3629).
constexpr std::size_t kLongestCharacter = 4;

bool continuesCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; }

}  // namespace

std::string_view cutText(std::string_view text, std::size_t limit) {
  if (text.size() <= limit) {
    return text;
  }
  for (std::size_t back = 0; back < kLongestCharacter && back < limit; ++back) {
    if (!continuesCharacter(text[limit - back])) {
      return text.substr(0, limit - back);
    }
  }
  return text.substr(0, limit);
}

}  // namespace marrow
