// A disk's partition table, read from the disk itself (libblkid), so that it needs neither udev nor
// a kernel that knows the format. Of a damaged GPT the backup is used. Any thread.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace marrow {

struct PartitionEntry {
  unsigned number = 0;  // from 1, as the kernel numbers partitions
  std::string type;     // the type's UUID in lower case
  std::string name;     // UTF-8, unless the table's UTF-16 has half of a pair
};

// The entries of a GPT in the table's order. Absent with errno set when the node cannot be read, or
// has no GPT (ENODATA).
std::optional<std::vector<PartitionEntry>> readPartitionTable(const std::string& node);

}  // namespace marrow
