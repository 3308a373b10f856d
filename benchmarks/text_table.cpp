#include "benchmarks/text_table.h"

#include <algorithm>
#include <ostream>

namespace marrow {

namespace {

// In UTF-8 every character has one byte that does not continue another.
std::size_t widthOf(const std::string& text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char byte) { return (byte & 0xC0) != 0x80; }));
}

void printRow(std::ostream& stream, const std::vector<std::string>& row,
              const std::vector<std::size_t>& widths) {
  for (std::size_t column = 0; column < row.size(); ++column) {
    stream << "| " << row[column] << std::string(widths[column] - widthOf(row[column]) + 1, ' ');
  }
  stream << "|\n";
}

}  // namespace

void TextTable::print(std::ostream& stream) const {
  std::vector<std::size_t> widths(_rows.front().size());
  for (const auto& row : _rows) {
    for (std::size_t column = 0; column < row.size(); ++column) {
      widths[column] = std::max(widths[column], widthOf(row[column]));
    }
  }
  printRow(stream, _rows.front(), widths);
  std::vector<std::string> line;
  for (const std::size_t width : widths) {
    line.emplace_back(width, '-');
  }
  printRow(stream, line, widths);
  for (auto row = _rows.begin() + 1; row != _rows.end(); ++row) {
    printRow(stream, *row, widths);
  }
}

}  // namespace marrow
