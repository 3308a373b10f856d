// Real disks for tests: a GPT in a file on a loop device, with partition nodes and real file
// systems on them. They need root, free loop devices, and sfdisk, partx and the mkfs programs;
// where one is missing the test fails and says so.
#pragma once

#include "host/linux/descriptor.h"

#include <string>
#include <vector>

namespace marrow {

inline constexpr char kSystemType[] = "486f2098-c9ed-47bf-8352-761f3b77d572";
inline constexpr char kDataType[] = "7827f9f7-92dd-404a-82cb-82ad19ca1dc7";
inline constexpr char kPrebootType[] = "afcd426d-dc30-44d3-a72d-7e67d5f91d40";
inline constexpr char kRecoveryType[] = "3a41e884-3162-431b-9caa-05e349801c59";
inline constexpr char kUpdateType[] = "c2f481a2-9471-49a7-9df4-24b9066f77e0";
inline constexpr char kLinuxDataType[] = "0fc63daf-8483-4772-8e79-3d69d8477de4";

struct LoopPartition {
  std::string type;
  std::string name;
  std::string fileSystem{};  // "ext4", "btrfs", "xfs"; empty for none
  unsigned mebibytes = 8;
};

// The size that mkfs needs for it.
unsigned mebibytesFor(const std::string& fileSystem);

// Runs the program found in the path; its output is shown when it fails, which fails the test.
bool runProgram(const std::vector<std::string>& words, const std::string& input = {});

struct LoopAttachment {
  std::string name;
  Descriptor open;  // keeps it attached
};

// A loop device over a file or a block device. Detached at the end; the test fails when it stays.
class LoopDevice {
 public:
  explicit LoopDevice(const std::string& backing);
  ~LoopDevice();
  LoopDevice(const LoopDevice&) = delete;
  LoopDevice& operator=(const LoopDevice&) = delete;

  const std::string& name() const { return _attachment.name; }  // "loop8"
  std::string node() const { return "/dev/" + name(); }

 private:
  std::string _backing;
  LoopAttachment _attachment;
};

class LoopDisk {
 public:
  explicit LoopDisk(const std::vector<LoopPartition>& partitions);
  // `damage` gets the node of the finished disk.
  LoopDisk(const std::vector<LoopPartition>& partitions, void (*damage)(const std::string&));
  ~LoopDisk();
  LoopDisk(const LoopDisk&) = delete;
  LoopDisk& operator=(const LoopDisk&) = delete;

  std::string name() const { return _loop->name(); }
  std::string node() const { return _loop->node(); }

  // Numbers count from 1.
  std::string partition(unsigned number) const { return name() + "p" + std::to_string(number); }
  std::string partitionNode(unsigned number) const { return "/dev/" + partition(number); }

  // Makes the kernel know all partitions, or take back what it knows.
  void addPartitions() const;
  void removePartitions() const;

 private:
  std::string _image;
  LoopDevice* _loop = nullptr;
};

// A mount namespace of the test program's own, from which nothing leaks; call before any thread is
// started. Tests that link this have it made before they begin.
void enterPrivateMountNamespace();

// A directory of the test's own, removed at the end. What is still mounted in it then is unmounted
// and fails the test.
class TestFolder {
 public:
  TestFolder();
  ~TestFolder();
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;

  const std::string& path() const { return _path; }
  std::string at(const std::string& name) const { return _path + "/" + name; }
  std::string makeFolder(const std::string& name) const;

 private:
  std::string _path;
};

// Where this source is mounted, oldest first, in our namespace or as another process's table tells;
// and what is mounted below a path, newest first.
std::vector<std::string> mountTargets(const std::string& source,
                                      const std::string& table = "/proc/self/mountinfo");
std::vector<std::string> mountsBelow(const std::string& path);

std::string randomUUID();

}  // namespace marrow
