// What a terminal makes of what is written to it (libvterm).
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>
#include <vterm.h>

namespace marrow {

class TerminalEmulator {
 public:
  TerminalEmulator(int rows, int columns, bool utf8)
      : _terminal(::vterm_new(rows, columns), ::vterm_free), _rows(rows), _columns(columns) {
    ::vterm_set_utf8(_terminal.get(), utf8 ? 1 : 0);
    ::vterm_screen_reset(screen(), 1);
  }

  // As a terminal gets it: a line ends with "\r\n".
  void write(std::string_view text) {
    ::vterm_input_write(_terminal.get(), text.data(), text.size());
  }

  // The rows as UTF-8, without blanks at their ends.
  std::vector<std::string> rows() const {
    std::vector<std::string> rows;
    for (int row = 0; row < _rows; ++row) {
      std::string text(static_cast<std::size_t>(_columns) * 4, '\0');
      text.resize(
          ::vterm_screen_get_text(screen(), text.data(), text.size(), {row, row + 1, 0, _columns}));
      text.erase(text.find_last_not_of(' ') + 1);
      rows.push_back(text);
    }
    return rows;
  }

  // How many cells of a row, counted from 0, are shown in reverse.
  int reversedCells(int row) const {
    int reversed = 0;
    for (int column = 0; column < _columns; ++column) {
      VTermScreenCell cell{};
      ::vterm_screen_get_cell(screen(), {row, column}, &cell);
      reversed += cell.attrs.reverse != 0U ? 1 : 0;
    }
    return reversed;
  }

  // Counted from 0.
  VTermPos cursor() const {
    VTermPos place{};
    ::vterm_state_get_cursorpos(::vterm_obtain_state(_terminal.get()), &place);
    return place;
  }

 private:
  VTermScreen* screen() const { return ::vterm_obtain_screen(_terminal.get()); }

  std::unique_ptr<VTerm, void (*)(VTerm*)> _terminal;
  int _rows;
  int _columns;
};

}  // namespace marrow
