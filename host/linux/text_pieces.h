// Texts of the kernel, taken apart. The streams of the C++ library would bring its locales along,
// which take more room than all of this program's own disk services.
#pragma once

#include <algorithm>
#include <string_view>
#include <vector>

namespace marrow {

// What stands between these characters, in order; what is empty is left out. The pieces are parts
// of the text.
inline std::vector<std::string_view> piecesOf(std::string_view text, std::string_view separators) {
  std::vector<std::string_view> pieces;
  while (true) {
    text.remove_prefix(std::min(text.find_first_not_of(separators), text.size()));
    if (text.empty()) {
      return pieces;
    }
    pieces.push_back(text.substr(0, text.find_first_of(separators)));
    text.remove_prefix(pieces.back().size());
  }
}

}  // namespace marrow
