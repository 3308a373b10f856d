// A disk that is pulled out of the running machine and plugged in again, and the real udev. The
// machine of the booted tests has two such disks, which its kernel drives: vdc (virtio) and
// nvme0n1.
#pragma once

#include "tests/linux/firmware/started_program.h"

#include <memory>
#include <string>
#include <vector>

namespace marrow {

class LateDisk {
 public:
  // Its table is written anew: a system and a data volume of the group, the latter with an ext4.
  // Then it is out.
  LateDisk(std::string name, const std::string& group);
  // In again, for the next test.
  ~LateDisk();
  LateDisk(const LateDisk&) = delete;
  LateDisk& operator=(const LateDisk&) = delete;

  void plugIn();
  void pullOut();

  // Numbers count from 1.
  std::string partition(unsigned number) const;
  std::string partitionNode(unsigned number) const { return "/dev/" + partition(number); }

 private:
  bool isThere() const;

  std::string _name;
  std::string _slot;  // its folder among the kernel's PCI devices
};

// udev in a /run of the test's own.
class LiveUdev {
 public:
  // With its usual rules, and more of the test's (udev(7)). Returns when it listens.
  explicit LiveUdev(const std::string& rules = {});

  static bool hasQueue();
  // What it knows of a device is written down.
  static bool knows(const std::string& name);

  // Kills it; what it has left in /run stays.
  void kill() { _daemon->end(); }

 private:
  std::unique_ptr<StartedProgram> _daemon;
};

}  // namespace marrow
