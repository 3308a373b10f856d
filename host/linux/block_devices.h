// The kernel's block devices as sysfs shows them (Documentation/ABI/stable/sysfs-block), read anew
// at each call. Any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace marrow {

struct BlockDevice {
  std::string name;  // the kernel's: "vda3", "cciss!c0d0p3"
  std::string disk;  // the whole disk's; its own name when it is one
  dev_t number = 0;
  unsigned partition = 0;      // its number in the partition table; 0 is the whole disk
  std::uint64_t sequence = 0;  // the disk's, never given twice since the machine was started
  bool removable = false;      // so is the disk
  std::uint64_t start = 0;     // where on its disk it begins, in sectors of 512 bytes
  std::uint64_t sectors = 0;   // of 512 bytes; 0 when there is no medium

  bool isDisk() const { return partition == 0; }

  // The same device, not just another one under the same name.
  bool isSame(const BlockDevice& other) const {
    return name == other.name && number == other.number && sequence == other.sequence;
  }
};

class BlockDevices {
 public:
  BlockDevices(std::string sysfs, std::string dev);

  // Fixed disks first, then removable ones, each by sequence number; a disk's partitions follow it
  // by their number.
  std::vector<BlockDevice> all() const;
  std::vector<BlockDevice> disks() const;
  std::vector<BlockDevice> partitionsOf(std::string_view disk) const;

  // Absent when there is no such device (any more).
  std::optional<BlockDevice> find(std::string_view name) const;
  std::optional<BlockDevice> findNumber(dev_t number) const;

  // The same device as it is now; absent when it has gone or another one has its name.
  std::optional<BlockDevice> current(const BlockDevice& device) const;

  // A kernel name for a bare name ("vda") or for the path of a device node, links followed.
  std::optional<BlockDevice> findNamed(const std::string& nameOrNode) const;

  // Its place below /dev.
  std::string node(const BlockDevice& device) const;

  // Its directory in sysfs, without links.
  std::optional<std::string> directory(std::string_view name) const;

 private:
  struct DiskAttributes;

  std::vector<BlockDevice> listed(const std::string& path) const;
  std::optional<BlockDevice> find(std::string_view name, DiskAttributes& known) const;

  std::string _sysfs;
  std::string _dev;
};

// A kernel name as the name below /dev: sysfs writes "!" where a device's name has a slash.
std::string nodeName(std::string kernelName);

}  // namespace marrow
