// Puts text that arrives in pieces together to lines.
#pragma once

#include <string>
#include <string_view>
#include <utility>

namespace marrow::rehearsal {

class Lines {
 public:
  // Hands on each line that is whole, without its end.
  template <typename TakeLine>
  void add(std::string_view text, TakeLine takeLine) {
    _rest += text;
    std::size_t end = 0;
    while ((end = _rest.find('\n')) != std::string::npos) {
      takeLine(_rest.substr(0, end));
      _rest.erase(0, end + 1);
    }
  }

  // Hands on what came without the end of a line.
  template <typename TakeLine>
  void finish(TakeLine takeLine) {
    if (!_rest.empty()) {
      takeLine(std::exchange(_rest, std::string()));
    }
  }

 private:
  std::string _rest;
};

}  // namespace marrow::rehearsal
