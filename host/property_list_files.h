// Property-list files, read and written whole as dictionaries. Any thread; two writers of one file
// must take turns. A path that leads through a link, or is one, is refused (ELOOP).
#pragma once

#include "host/error_record.h"
#include "host/property_list.h"

#include <optional>
#include <string>

namespace marrow {

class PropertyListFiles {
 public:
  virtual ~PropertyListFiles() = default;

  // Reads a regular file whose root is a dictionary. Absent with an error record when there is no
  // such file (POSIX domain, ENOENT), it is something else, cannot be read, or is malformed.
  virtual std::optional<PropertyListDictionary> readDictionary(const std::string& path,
                                                               ErrorSlot error) = 0;

  // Puts a new file in the place of the old one in a single step, durably. On false the old file is
  // as it was.
  virtual bool writeDictionary(const PropertyListDictionary& dictionary,
                               const std::string& path) = 0;
};

}  // namespace marrow
