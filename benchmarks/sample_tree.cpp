#include "benchmarks/sample_tree.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace marrow {

namespace {

namespace fs = std::filesystem;

// The folders are dealt out to chains of `levels`: folder 0 lies at the top, 1 in it, and so on.
std::string folderOf(const TreeShape& shape, std::size_t file) {
  const std::size_t number = file % shape.folders;
  const std::size_t first = number - number % shape.levels;
  std::string path;
  for (std::size_t folder = first; folder <= number; ++folder) {
    path += "folder-" + std::to_string(folder) + '/';
  }
  return path;
}

std::string pathOf(const TreeShape& shape, std::size_t file) {
  return folderOf(shape, file) + "file-" + std::to_string(file);
}

}  // namespace

void makeSampleTree(const std::string& top, const TreeShape& shape, char generation) {
  const std::string content(std::max<std::size_t>(shape.bytes / shape.files, 1), generation);
  for (std::size_t file = 0; file < shape.files; ++file) {
    fs::create_directories(top + '/' + folderOf(shape, file));
    std::ofstream stream(top + '/' + pathOf(shape, file), std::ios::binary);
    stream << content;
    if (!stream.flush()) {
      throw std::runtime_error("Cannot make the tree " + top);
    }
  }
}

std::string firstFileOf(const TreeShape& shape) { return pathOf(shape, 0); }

std::string lastFileOf(const TreeShape& shape) { return pathOf(shape, shape.files - 1); }

}  // namespace marrow
