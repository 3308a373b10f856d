// A disk in a file, attached to a loop device of its own, with a node for each partition.
#pragma once

#include "rehearsal/descriptor.h"
#include "rehearsal/partition_table.h"

#include <filesystem>
#include <string>
#include <vector>

namespace marrow::rehearsal {

// The kernel detaches the device by itself when its last user is gone (LO_FLAGS_AUTOCLEAR,
// loop(4)), so that it goes with this process however this process ends.
class LoopDevice {
 public:
  // Attaches the file and shows its partitions to the kernel. The nodes are made in `nodes`, a
  // folder where device nodes work. Throws Problem.
  LoopDevice(int file, const std::vector<Partition>& partitions, std::filesystem::path nodes);

  // Waits (ten seconds at most) until nobody else has a partition open, then lets go.
  ~LoopDevice();
  LoopDevice(const LoopDevice&) = delete;
  LoopDevice& operator=(const LoopDevice&) = delete;

  // The kernel's names: "loop3", "loop3p1".
  const std::string& name() const { return _name; }
  std::string partitionName(int number) const { return _name + 'p' + std::to_string(number); }

  std::filesystem::path diskNode() const { return _nodes / _name; }
  std::filesystem::path node(int number) const { return _nodes / partitionName(number); }

  // Waits until no mount in any namespace and no claim holds a partition: what a machine that has
  // died still had mounted is gone only then. Throws Problem after ten seconds.
  void waitUntilUnused() const;

 private:
  void attach(int file);
  void makeNode(const std::string& kernelName) const;
  void showPartition(const Partition& partition) const;

  std::filesystem::path _nodes;
  std::vector<int> _partitions;
  std::string _name;
  Descriptor _disk;
};

// Throws the Problem that tells what to do when the machine has no loop devices.
void requireLoopDevices();

}  // namespace marrow::rehearsal
