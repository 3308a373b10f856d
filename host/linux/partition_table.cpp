#include "host/linux/partition_table.h"

#include "host/linux/blkid_probe.h"
#include "host/linux/c_text.h"

#include <cerrno>
#include <string_view>

namespace marrow {

namespace {

blkid_partlist partitionList(blkid_probe probe) {
  blkid_probe_enable_superblocks(probe, 0);
  blkid_probe_enable_partitions(probe, 1);
  blkid_probe_set_partitions_flags(probe, BLKID_PARTS_ENTRY_DETAILS);
  return blkid_probe_get_partitions(probe);
}

// A list comes back even for a disk both of whose tables are damaged: the table itself is the test.
bool isGPT(blkid_partlist list) {
  blkid_struct_parttable* const table = blkid_partlist_get_table(list);
  return table != nullptr && std::string_view(blkid_parttable_get_type(table)) == "gpt";
}

PartitionEntry entry(blkid_partition partition) {
  return {static_cast<unsigned>(blkid_partition_get_partno(partition)),
          textOrEmpty(blkid_partition_get_type_string(partition)),
          textOrEmpty(blkid_partition_get_name(partition))};
}

}  // namespace

std::optional<std::vector<PartitionEntry>> readPartitionTable(const std::string& node) {
  const BlkidProbe probe(node);
  blkid_struct_partlist* const list = probe ? partitionList(probe.get()) : nullptr;
  if (list == nullptr || !isGPT(list)) {
    errno = probe ? ENODATA : errno;
    return std::nullopt;
  }
  const int count = blkid_partlist_numof_partitions(list);
  std::vector<PartitionEntry> entries;
  entries.reserve(static_cast<std::size_t>(count));
  for (int index = 0; index < count; ++index) {
    entries.push_back(entry(blkid_partlist_get_partition(list, index)));
  }
  return entries;
}

}  // namespace marrow
