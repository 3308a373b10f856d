// A test with the real disk services, a folder of its own for /run and for mounts, and a session
// that refuses the volumes of disks that the test names.
#pragma once

#include "host/linux/linux_disks.h"
#include "host/linux/linux_task_queues.h"
#include "tests/linux/disk/child_process.h"
#include "tests/linux/disk/loop_disk.h"
#include "tests/linux/disk/test_log.h"
#include "tests/wait_until.h"

#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace marrow {

// NOLINTBEGIN(cert-err58-cpp)
inline const VolumeOptions kAll = {{DVLoamVolumeUnmountOptionAll, true}};
inline const VolumeOptions kForceAll = {{DVLoamVolumeUnmountOptionForce, true},
                                        {DVLoamVolumeUnmountOptionAll, true}};
// NOLINTEND(cert-err58-cpp)

// 0, or the errno of the call.
int mountNode(const std::string& node, const std::string& target, const std::string& type,
              unsigned long flags = 0);
int openExclusively(const std::string& node);

class LinuxDiskTest : public testing::Test {
 protected:
  LinuxDiskTest();
  ~LinuxDiskTest() override;

  // Everything below is the machine's; a test may make a second one.
  static LinuxDiskRoots rootsIn(const TestFolder& folder);

  std::unique_ptr<DASession> refuse(const std::vector<std::string>& disks);
  std::shared_ptr<DVStaticLoamVolume> volume(const std::string& name);
  std::shared_ptr<DVStaticLoamContainer> container(const std::string& name);
  int tryMount(const std::string& node, const std::string& type = "ext4", unsigned long flags = 0);

  TestLog log;
  TestFolder folder;
  std::string place = folder.makeFolder("place");
  LinuxTaskQueues queues;
  LinuxDisks disks{log, rootsIn(folder)};
  std::shared_ptr<SerialTaskQueue> queue = queues.createSerialQueue("session");
};

// The session of LinuxDiskTest, for a process of its own.
std::unique_ptr<DASession> makeRefusingSession(LinuxDisks& disks,
                                               const std::vector<std::string>& refused);

// One that refuses the volumes of a group: which disk will have them need not be known before.
std::unique_ptr<DASession> makeGroupRefusingSession(LinuxDisks& disks, const std::string& group);

inline std::string nameOfFileSystem(const testing::TestParamInfo<const char*>& test) {
  return test.param;
}

}  // namespace marrow
