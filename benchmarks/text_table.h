// A table for a terminal or a page: columns as wide as their widest cell, in Markdown.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace marrow {

class TextTable {
 public:
  explicit TextTable(std::vector<std::string> head) : _rows{std::move(head)} {}

  // As many cells as the head has.
  void add(std::vector<std::string> row) { _rows.push_back(std::move(row)); }
  void print(std::ostream& stream) const;

 private:
  std::vector<std::vector<std::string>> _rows;
};

}  // namespace marrow
