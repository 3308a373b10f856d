#include "host/text_format.h"

#include <utility>

namespace marrow {

std::string substitute(std::string_view format, std::span<std::string> arguments) {
  std::string text;
  std::size_t from = 0;
  std::size_t used = 0;
  for (Conversion next = nextConversion(format, 0); next.begin != std::string_view::npos;
       next = nextConversion(format, next.end)) {
    text += format.substr(from, next.begin - from);
    if (next.letters == "%") {
      text += '%';
    } else {
      text = std::move(text) + std::move(arguments[used]);
      ++used;
    }
    from = next.end;
  }
  text += format.substr(from);
  return text;
}

}  // namespace marrow
