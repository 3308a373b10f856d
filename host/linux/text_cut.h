// Cutting UTF-8 text to a number of bytes.
#pragma once

#include <cstddef>
#include <string_view>

namespace marrow {

// The longest beginning of `text` that has at most `limit` bytes and does not end inside a
// character. Where the bytes are no UTF-8 it is simply the first `limit` ones.
std::string_view cutText(std::string_view text, std::size_t limit);

}  // namespace marrow
