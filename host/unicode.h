// The two questions that the daemon asks of UTF-8 text (RFC 3629).
#pragma once

#include <cstddef>
#include <string_view>

namespace marrow {

// True when `bytes` is well-formed UTF-8: no overlong form, no surrogate, nothing past U+10FFFF, no
// character cut off at the end.
bool isValidUTF8(std::string_view bytes);

// How many UTF-16 code units the text takes: two for a character beyond the basic plane, one for
// every other; a byte that belongs to no character counts as one (it reads as U+FFFD).
std::size_t utf16Length(std::string_view bytes);

}  // namespace marrow
