// The firmware's device tree (Documentation/devicetree), whose nodes are directories and whose
// properties are files. A machine without one keeps what the boot policy asks of it in a firmware
// variable. Any thread.
#pragma once

#include "host/log.h"
#include "host/property_list.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>

namespace marrow {

struct DeviceTreeEntry {
  std::string path;                   // below the tree's root, beginning with a slash
  bool fromFirmwareVariable = false;  // the variable stands for the missing node
};

class DeviceTree {
 public:
  DeviceTree(std::string root, std::string efivars, LogHandle& log);

  // `path` begins with a slash. Absent when there is neither such a node nor a variable for it.
  // What cannot be looked at counts as missing, here and below, and the log tells of it.
  std::optional<DeviceTreeEntry> find(std::string_view path) const;

  // Absent when the entry has no such property.
  std::optional<PropertyListData> property(const DeviceTreeEntry& entry,
                                           std::string_view name) const;

 private:
  std::optional<PropertyListData> dataIn(const std::string& path, std::size_t skipped) const;
  // Those of the file type bits of inode(7).
  bool hasType(const std::string& path, mode_t type) const;
  void tellUnlessMissing(const std::string& path, int errorNumber) const;

  std::string _root;
  std::string _efivars;
  LogHandle& _log;
};

}  // namespace marrow
