// Disks that are containers, with as many volumes as are asked for, in files on loop devices.
#pragma once

#include "rehearsal/loop_device.h"

#include <memory>
#include <string>
#include <vector>

namespace marrow {

// The image of a disk whose volumes belong to one group, but for those beyond five, which are
// system and data volumes of other groups. The last volume is the update volume and has an ext4;
// the others are empty.
class VolumeDisk {
 public:
  // The image is made at `path`, which must not exist; sparse. Throws rehearsal::Problem.
  VolumeDisk(std::string path, int volumes);

  const std::string& group() const { return _group; }

  // On a loop device, for as long as that lives, with its nodes in this folder, where nobody else
  // opens them. Nothing else may use the image meanwhile.
  std::unique_ptr<rehearsal::LoopDevice> attach(const std::string& nodes) const;

 private:
  std::string _path;
  std::string _group;
  std::vector<rehearsal::Partition> _partitions;
};

// Makes a folder at `path`, which must not exist, that looks like sysfs on a machine that has these
// disks and no others: what the machine happens to have besides is not measured.
void showDisks(const std::string& path,
               const std::vector<std::unique_ptr<rehearsal::LoopDevice>>& disks);

}  // namespace marrow
