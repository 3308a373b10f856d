// A whole small machine for the tests: every service of the daemon's machine, in memory, with one
// thread and a time that stands still. What a test gets:
//
//   the default machine of default_machine.h, staged for an upgrade, started in its base system
//   from the nonce that the upgrade proposes; host(): the services, to hand to the code under test;
//   each service by name, with functions of its own to prepare and to look at the machine;
//   journal: every call in order; faults: what is to go wrong.
//
// Process::exit, Process::failAssertion and Reboot::rebootWithMessage throw RunEnded.
#pragma once

#include "host/host.h"
#include "tests/host/calls.h"
#include "tests/host/default_machine.h"
#include "tests/host/faults.h"
#include "tests/host/in_memory_arbitration.h"
#include "tests/host/in_memory_boot_policy.h"
#include "tests/host/in_memory_clock.h"
#include "tests/host/in_memory_display.h"
#include "tests/host/in_memory_file_handles.h"
#include "tests/host/in_memory_file_system.h"
#include "tests/host/in_memory_file_trees.h"
#include "tests/host/in_memory_files.h"
#include "tests/host/in_memory_firmware.h"
#include "tests/host/in_memory_installer.h"
#include "tests/host/in_memory_log.h"
#include "tests/host/in_memory_partitions.h"
#include "tests/host/in_memory_power.h"
#include "tests/host/in_memory_process.h"
#include "tests/host/in_memory_property_list_files.h"
#include "tests/host/in_memory_reboot.h"
#include "tests/host/in_memory_registry.h"
#include "tests/host/in_memory_system.h"
#include "tests/host/in_memory_task_launcher.h"
#include "tests/host/in_memory_task_queues.h"
#include "tests/host/journal.h"
#include "tests/host/run_ended.h"

namespace marrow {

class InMemoryHost {
 public:
  InMemoryHost();
  ~InMemoryHost();
  InMemoryHost(const InMemoryHost&) = delete;
  InMemoryHost& operator=(const InMemoryHost&) = delete;

  Host host();

  // The machine starts anew: what the process held is gone (descriptors, assertions, tasks,
  // timers), no volume is mounted, the folders in memory (/run, /private/tmp) are empty; disks,
  // variables, nonces and programs stay. The daemon's objects must be gone. Rules of faults are
  // forgotten.
  void restart();

  Journal journal;
  Faults faults;
  Calls calls{journal, faults};

  InMemoryLog log{calls};
  InMemoryClock clock;
  InMemoryTaskQueues queues{calls, clock};
  InMemoryProcess process{calls, log};
  InMemoryOSVariant osVariant{calls};
  InMemoryKernelVariables kernelVariables{calls};
  InMemoryFirmware firmware{calls};

  InMemoryFileSystem fileSystem;  // what files, trees and the others work on
  InMemoryFiles files{calls, fileSystem};
  InMemoryFileTrees trees{calls, fileSystem};
  InMemoryFileHandles fileHandles{calls, files, fileSystem, queues};
  InMemoryPropertyListFiles propertyLists{calls, fileSystem};
  InMemoryTemporaryDirectory temporaryDirectory{calls, fileSystem};
  InMemoryTaskLauncher launcher{calls};

  InMemoryRegistry registry{calls};
  InMemoryPartitions partitions{calls, fileSystem, files, registry};
  InMemoryArbitration arbitration{calls, partitions, registry};
  InMemoryDeviceNames deviceNames{calls, partitions};

  InMemoryPower power{calls};
  InMemoryDisplay display{calls};
  InMemoryInstaller installer{calls, partitions};
  InMemoryKeyStore keyStore{calls};
  InMemoryBootPolicy bootPolicy{calls};
  InMemoryReboot reboot{calls};
};

}  // namespace marrow
