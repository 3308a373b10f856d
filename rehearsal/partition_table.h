// The GPT of a disk in a file, written and read with sfdisk(8).
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace marrow::rehearsal {

// Types of partitions. Any other one is no volume of a container.
namespace partition_type {
inline constexpr std::string_view kSystem = "486f2098-c9ed-47bf-8352-761f3b77d572";
inline constexpr std::string_view kData = "7827f9f7-92dd-404a-82cb-82ad19ca1dc7";
inline constexpr std::string_view kPreboot = "afcd426d-dc30-44d3-a72d-7e67d5f91d40";
inline constexpr std::string_view kRecovery = "3a41e884-3162-431b-9caa-05e349801c59";
inline constexpr std::string_view kUpdate = "c2f481a2-9471-49a7-9df4-24b9066f77e0";
inline constexpr std::string_view kEfiSystem = "c12a7328-f81f-11d2-ba4b-00a0c93ec93b";
inline constexpr std::string_view kLinuxData = "0fc63daf-8483-4772-8e79-3d69d8477de4";
}  // namespace partition_type

// Start and size in bytes; the type in lower case. A volume group is the name of its partitions.
struct Partition {
  int number = 0;
  std::uint64_t start = 0;
  std::uint64_t size = 0;
  std::string type;
  std::string name;
};

// Numbers the partitions from 1 on, places each behind the one before, on whole MiB, and returns
// the size in bytes of a disk that holds them.
std::uint64_t placePartitions(std::vector<Partition>& partitions);

void writePartitionTable(const std::filesystem::path& image,
                         const std::vector<Partition>& partitions);

// Throws Problem when the file holds no GPT.
std::vector<Partition> readPartitionTable(const std::filesystem::path& image);

void setPartitionType(const std::filesystem::path& image, int number, std::string_view type);

}  // namespace marrow::rehearsal
