#include "sweep/swept_disk.h"

#include "rehearsal/cookie.h"
#include "rehearsal/disk_content.h"
#include "rehearsal/files.h"
#include "rehearsal/interruption.h"
#include "rehearsal/loop_device.h"
#include "rehearsal/problem.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace marrow::sweep {
namespace {

using namespace rehearsal;

constexpr std::size_t kBlock = 4096;

void fillVolume(const std::filesystem::path& root, const Partition& partition,
                const BootDisk& layout, const TreeSize& size, Interruption& interruption) {
  if (partition.type == partition_type::kData || partition.type == partition_type::kSystem) {
    writeFile(root / "var/group", partition.name + '\n');
    return;
  }
  installContent(root, partition, layout, size, interruption);
  stageUpdate(root, partition, layout, size, interruption);
}

// What file systems have filled with zeros becomes holes: each case copies it.
void copyWithoutZeros(int from, int to) {
  const off_t size = checked(::lseek(from, 0, SEEK_END), "read the disk's size");
  checked(::ftruncate(to, size), "make the copy of the disk");
  std::string block(kBlock, '\0');
  const std::string zeroBlock(kBlock, '\0');
  const std::string_view zeros = zeroBlock;
  for (off_t place = ::lseek(from, 0, SEEK_DATA); place >= 0 && place < size;) {
    const ssize_t count = checked(::pread(from, block.data(), kBlock, place), "read the disk");
    const std::string_view content(block.data(), static_cast<std::size_t>(count));
    if (content != zeros.substr(0, content.size())) {
      checked(::pwrite(to, content.data(), content.size(), place), "copy the disk");
    }
    place = ::lseek(from, place + count, SEEK_DATA);
  }
}

}  // namespace

SweptDisk::SweptDisk(const Scenario& scenario, const DiskContent& content,
                     const Workplace& workplace, Interruption& interruption)
    : _nodes(workplace.folder("nodes")), _layout(planDisk(content.kind, content.treeSize)) {
  const auto folder = workplace.folder("disks");
  _image = openFile(folder / "image", O_RDWR | O_CREAT | O_TRUNC);
  _prepared = openFile(folder / "prepared", O_RDWR | O_CREAT | O_TRUNC);
  const auto path = pathOfDescriptor(_image.number());
  const auto size = static_cast<off_t>(placePartitions(_layout.partitions));
  checked(::ftruncate(_image.number(), size), "make the disk image");
  writePartitionTable(path, _layout.partitions);
  if (const auto missing = _layout.partitionOf(scenario.missingRole)) {
    setPartitionType(path, *missing, partition_type::kLinuxData);
    _layout.partitions = readPartitionTable(path);
  }
  attach(_image.number());
  fill(scenario, content, workplace.folder("volume"), interruption);
  _device->waitUntilUnused();
  checked(::fsync(openFile(_device->diskNode(), O_RDONLY).number()), "write the disk");
  copyWithoutZeros(_image.number(), _prepared.number());
}

SweptDisk::~SweptDisk() = default;

void SweptDisk::attach(int file) {
  _device.reset();
  for (const auto& node : std::filesystem::directory_iterator(_nodes)) {
    std::filesystem::remove(node.path());
  }
  _device = std::make_unique<LoopDevice>(file, _layout.partitions, _nodes);
}

void SweptDisk::fill(const Scenario& scenario, const DiskContent& content,
                     const std::filesystem::path& place, Interruption& interruption) {
  for (const Partition& partition : _layout.partitions) {
    if (partition.type == partition_type::kEfiSystem) {
      continue;
    }
    makeFileSystem(content.kind, _device->node(partition.number));
    const MountedVolume volume(_device->node(partition.number), place,
                               MountedVolume::Access::kReadWrite);
    fillVolume(volume.path(), partition, _layout, content.treeSize, interruption);
    if (partition.type == partition_type::kPreboot && !scenario.cookieKey.empty()) {
      writeCookie(cookieFile(volume.path(), _layout.group), scenario.cookieKey);
    }
  }
}

void SweptDisk::putBack() const {
  _device->waitUntilUnused();
  const off_t size = checked(::lseek(_prepared.number(), 0, SEEK_END), "read the disk's size");
  checked(::fallocate(_image.number(), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 0, size),
          "empty the disk");
  copySparse(_prepared.number(), _image.number());
  forgetCaches();
}

void SweptDisk::forgetCaches() const {
  const Descriptor disk = openFile(_device->diskNode(), O_RDONLY);
  checked(::ioctl(disk.number(), BLKFLSBUF), "forget what is known of the disk");
}

std::vector<std::filesystem::path> SweptDisk::nodes() const {
  std::vector<std::filesystem::path> nodes{_device->diskNode()};
  for (const Partition& partition : _layout.partitions) {
    nodes.push_back(_device->node(partition.number));
  }
  return nodes;
}

}  // namespace marrow::sweep
