// Trees of files to be installed, and to be told apart while they are.
#pragma once

#include <cstddef>
#include <string>

namespace marrow {

// Boot objects of a usual size: 2,000 files in 120 folders, 300 MB.
struct TreeShape {
  std::size_t files = 2000;
  std::size_t folders = 120;
  std::size_t levels = 2;  // how deep a folder may lie
  std::size_t bytes = 300'000'000;
};

// Makes the tree below `top`, which must not exist. `generation` is a letter that every file begins
// with. What is written is not flushed.
void makeSampleTree(const std::string& top, const TreeShape& shape, char generation);

// Two files of every such tree, the first that is made and the last, by their paths below its top.
std::string firstFileOf(const TreeShape& shape);
std::string lastFileOf(const TreeShape& shape);

}  // namespace marrow
