// Property lists in the machine's tree. A file is one when a test or this service wrote it as a
// dictionary; any other file is malformed.
#pragma once

#include "host/property_list_files.h"
#include "tests/host/calls.h"
#include "tests/host/in_memory_file_system.h"

namespace marrow {

class InMemoryPropertyListFiles : public PropertyListFiles {
 public:
  InMemoryPropertyListFiles(Calls& calls, InMemoryFileSystem& fileSystem)
      : _calls(calls), _fileSystem(fileSystem) {}

  std::optional<PropertyListDictionary> readDictionary(const std::string& path,
                                                       ErrorSlot error) override;
  bool writeDictionary(const PropertyListDictionary& dictionary, const std::string& path) override;

 private:
  Calls& _calls;
  InMemoryFileSystem& _fileSystem;
};

}  // namespace marrow
