// The storage controller of a run, on real disks.
#pragma once

#include "benchmarks/no_log.h"
#include "host/linux/linux_disks.h"
#include "host/linux/linux_files.h"
#include "host/linux/linux_kernel_variables.h"
#include "host/linux/linux_process.h"
#include "host/linux/linux_property_list_files.h"
#include "host/linux/linux_task_queues.h"
#include "host/linux/wait_watch.h"
#include "storage/storage_controller.h"

#include <memory>
#include <string>

namespace marrow {

class StorageSession {
 public:
  // `folder` is one of its own; its "sys" shows the disks, its "dev" has their nodes. The group is
  // the one that was booted.
  StorageSession(const std::string& folder, const std::string& group);

  // Finds the container and has every volume of it asked about and refused to others. Throws
  // std::runtime_error when there is no such container.
  MWStorageController& start();

 private:
  NoLog _log;
  WaitWatch _waits{_log};
  LinuxTaskQueues _queues;
  LinuxKernelVariables _kernelVariables;
  LinuxFiles _files{_waits};
  LinuxPropertyListFiles _propertyLists{_log};
  LinuxProcess _process{_log};
  LinuxDisks _disks;
  std::shared_ptr<MWStorageController> _controller;
};

}  // namespace marrow
