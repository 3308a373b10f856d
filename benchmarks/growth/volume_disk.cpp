#include "benchmarks/growth/volume_disk.h"

#include "benchmarks/programs.h"
#include "rehearsal/files.h"
#include "rehearsal/units.h"

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <fstream>

namespace marrow {

namespace {

namespace fs = std::filesystem;
namespace partition_type = rehearsal::partition_type;

constexpr std::uint64_t kUpdateMebibytes = 8;

std::string randomUUID() {
  std::string text;
  std::ifstream("/proc/sys/kernel/random/uuid") >> text;
  return text;
}

rehearsal::Partition partition(std::string_view type, const std::string& name,
                               std::uint64_t mebibytes = 1) {
  return {.size = mebibytes * rehearsal::kMebibyte, .type = std::string(type), .name = name};
}

std::vector<rehearsal::Partition> partitionsOf(const std::string& group, int count) {
  std::vector<rehearsal::Partition> partitions = {partition(partition_type::kSystem, group),
                                                  partition(partition_type::kData, group),
                                                  partition(partition_type::kPreboot, "preboot"),
                                                  partition(partition_type::kRecovery, "recovery")};
  std::string other;
  for (int at = 5; at < count; ++at) {
    const bool isSystem = at % 2 == 1;
    other = isSystem ? randomUUID() : other;
    partitions.push_back(
        partition(isSystem ? partition_type::kSystem : partition_type::kData, other));
  }
  partitions.push_back(partition(partition_type::kUpdate, "update", kUpdateMebibytes));
  return partitions;
}

void show(const fs::path& sysfs, const fs::path& device) {
  const fs::path real = fs::canonical(device);
  std::string number;
  std::ifstream(real / "dev") >> number;
  fs::create_symlink(real, sysfs / "class/block" / real.filename());
  fs::create_symlink(real, sysfs / "dev/block" / number);
}

}  // namespace

VolumeDisk::VolumeDisk(std::string path, int volumes)
    : _path(std::move(path)), _group(randomUUID()), _partitions(partitionsOf(_group, volumes)) {
  runProgram("truncate -s " + std::to_string(rehearsal::placePartitions(_partitions)) + ' ' +
             _path);
  rehearsal::writePartitionTable(_path, _partitions);
  runProgram("mkfs.ext4 -q -F -E offset=" + std::to_string(_partitions.back().start) + ' ' + _path +
             ' ' + std::to_string(kUpdateMebibytes) + 'M');
}

std::unique_ptr<rehearsal::LoopDevice> VolumeDisk::attach(const std::string& nodes) const {
  fs::create_directories(nodes);
  const auto image = rehearsal::openFile(_path, O_RDWR);
  return std::make_unique<rehearsal::LoopDevice>(image.number(), _partitions, nodes);
}

void showDisks(const std::string& path,
               const std::vector<std::unique_ptr<rehearsal::LoopDevice>>& disks) {
  const fs::path sysfs = path;
  fs::create_directories(sysfs / "block");
  fs::create_directories(sysfs / "class/block");
  fs::create_directories(sysfs / "dev/block");
  for (const auto& disk : disks) {
    const fs::path device = "/sys/class/block/" + disk->name();
    show(sysfs, device);
    fs::create_symlink(fs::canonical(device), sysfs / "block" / disk->name());
    for (const auto& entry : fs::directory_iterator(device / "")) {
      if (fs::exists(entry.path() / "partition")) {
        show(sysfs, entry.path());
      }
    }
  }
}

}  // namespace marrow
