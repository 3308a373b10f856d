// The firmware's device tree (Documentation/devicetree), whose nodes are directories and whose
// properties are files. A machine without one keeps what the boot policy asks of it in a firmware
// variable. Any thread.
#pragma once

#include "host/property_list.h"

#include <optional>
#include <string>
#include <string_view>

namespace marrow {

struct DeviceTreeEntry {
  std::string path;                   // below the tree's root, beginning with a slash
  bool fromFirmwareVariable = false;  // the variable stands for the missing node
};

class DeviceTree {
 public:
  DeviceTree(std::string root, std::string efivars);

  // `path` begins with a slash. Absent when there is neither such a node nor a variable for it.
  std::optional<DeviceTreeEntry> find(std::string_view path) const;

  // Absent when the entry has no such property, or it cannot be read.
  std::optional<PropertyListData> property(const DeviceTreeEntry& entry,
                                           std::string_view name) const;

 private:
  std::string _root;
  std::string _efivars;
};

}  // namespace marrow
