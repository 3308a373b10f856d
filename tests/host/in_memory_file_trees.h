// Moves files and trees within the machine's tree, with the error numbers of rename(2).
#pragma once

#include "host/file_trees.h"
#include "tests/host/calls.h"
#include "tests/host/in_memory_file_system.h"

namespace marrow {

class InMemoryFileTrees : public FileTrees {
 public:
  InMemoryFileTrees(Calls& calls, InMemoryFileSystem& fileSystem)
      : _calls(calls), _fileSystem(fileSystem) {}

  // The journal has both paths as "FROM -> TO".
  int rename(const std::string& from, const std::string& to) override;
  int swap(const std::string& from, const std::string& to) override;
  int removeRecursively(const std::string& path) override;
  int moveFile(const std::string& from, const std::string& to) override;

 private:
  Calls& _calls;
  InMemoryFileSystem& _fileSystem;
};

}  // namespace marrow
