#include "rehearsal/partition_table.h"

#include "rehearsal/problem.h"
#include "rehearsal/programs.h"
#include "rehearsal/units.h"

#include <algorithm>
#include <cctype>
#include <nlohmann/json.hpp>

namespace marrow::rehearsal {
namespace {

constexpr std::uint64_t kSector = 512;

std::string lowerCase(std::string text) {
  std::ranges::transform(text, text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

// sfdisk names a partition after the disk, with a "p" between where the disk ends in a digit.
int partitionNumber(const std::string& node) {
  const std::size_t digits = node.find_last_not_of("0123456789") + 1;
  return std::stoi(node.substr(digits));
}

Partition partitionFrom(const nlohmann::json& row, std::uint64_t sector) {
  return {.number = partitionNumber(row.at("node")),
          .start = row.at("start").get<std::uint64_t>() * sector,
          .size = row.at("size").get<std::uint64_t>() * sector,
          .type = lowerCase(row.at("type")),
          .name = row.value("name", "")};
}

constexpr const char* kNoTable =
    "The disk image has no GPT: marrowd knows its volumes by their GPT types.";

// sfdisk fails on a file without any table, and on one that is too small for a disk.
nlohmann::json tableOf(const std::filesystem::path& image) {
  try {
    return nlohmann::json::parse(runProgram({"sfdisk", "--json", image})).at("partitiontable");
  } catch (const Problem& problem) {
    throw Problem(std::string(kNoTable) + " (" + problem.what() + ")");
  }
}

}  // namespace

std::uint64_t placePartitions(std::vector<Partition>& partitions) {
  std::uint64_t place = kMebibyte;
  int number = 0;
  for (Partition& partition : partitions) {
    partition.number = ++number;
    partition.start = place;
    partition.size = (partition.size + kMebibyte - 1) / kMebibyte * kMebibyte;
    place += partition.size;
  }
  return place + kMebibyte;
}

void writePartitionTable(const std::filesystem::path& image,
                         const std::vector<Partition>& partitions) {
  std::string script = "label: gpt\n";
  for (const Partition& partition : partitions) {
    script += "start=" + std::to_string(partition.start / kSector) +
              ", size=" + std::to_string(partition.size / kSector) + ", type=" + partition.type +
              ", name=\"" + partition.name + "\"\n";
  }
  runProgram({"sfdisk", "--quiet", "--no-reread", "--no-tell-kernel", image}, script);
}

std::vector<Partition> readPartitionTable(const std::filesystem::path& image) {
  const nlohmann::json table = tableOf(image);
  if (table.value("label", "") != "gpt") {
    throw Problem(kNoTable);
  }
  std::vector<Partition> partitions;
  for (const nlohmann::json& row : table.value("partitions", nlohmann::json::array())) {
    partitions.push_back(partitionFrom(row, table.value("sectorsize", kSector)));
  }
  return partitions;
}

void setPartitionType(const std::filesystem::path& image, int number, std::string_view type) {
  runProgram({"sfdisk", "--quiet", "--no-reread", "--no-tell-kernel", "--part-type", image,
              std::to_string(number), std::string(type)});
}

}  // namespace marrow::rehearsal
