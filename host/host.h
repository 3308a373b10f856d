// Every service of the machine, for the one place that hands them out.
#pragma once

#include "host/boot_policy.h"
#include "host/clock.h"
#include "host/device_names.h"
#include "host/device_registry.h"
#include "host/disk_arbitration.h"
#include "host/file_handles.h"
#include "host/file_trees.h"
#include "host/files.h"
#include "host/firmware_variables.h"
#include "host/graphics_server.h"
#include "host/installer_utilities.h"
#include "host/kernel_variables.h"
#include "host/key_store.h"
#include "host/log.h"
#include "host/os_variant.h"
#include "host/partition_library.h"
#include "host/power_assertions.h"
#include "host/process.h"
#include "host/progress_display.h"
#include "host/property_list_files.h"
#include "host/reboot.h"
#include "host/task_launcher.h"
#include "host/task_queues.h"
#include "host/temporary_directory.h"

namespace marrow {

// All of them outlive the daemon's objects.
struct Host {
  OSVariant& osVariant;
  Process& process;
  LogService& log;
  Clock& clock;
  TaskQueues& taskQueues;
  KernelVariables& kernelVariables;
  FirmwareVariables& firmwareVariables;
  DeviceRegistry& deviceRegistry;
  DVStaticMedia& media;
  DiskArbitration& diskArbitration;
  PowerAssertions& powerAssertions;
  ProgressDisplay& progressDisplay;
  GraphicsServer& graphicsServer;
  KeyStore& keyStore;
  KWUtilities& installerUtilities;
  BootPolicy& bootPolicy;
  Reboot& reboot;
  TaskLauncher& taskLauncher;
  FileHandles& fileHandles;
  Files& files;
  FileTrees& fileTrees;
  DeviceNames& deviceNames;
  PropertyListFiles& propertyListFiles;
  TemporaryDirectory& temporaryDirectory;
};

}  // namespace marrow
