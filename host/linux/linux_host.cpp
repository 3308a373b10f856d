#include "host/linux/linux_host.h"

#include "host/linux/boot_loader_entries.h"
#include "host/linux/efi_variable_store.h"
#include "host/linux/linux_boot_policy.h"
#include "host/linux/linux_clock.h"
#include "host/linux/linux_disks.h"
#include "host/linux/linux_file_handles.h"
#include "host/linux/linux_file_trees.h"
#include "host/linux/linux_files.h"
#include "host/linux/linux_firmware_variables.h"
#include "host/linux/linux_graphics_server.h"
#include "host/linux/linux_installer_utilities.h"
#include "host/linux/linux_kernel_variables.h"
#include "host/linux/linux_key_store.h"
#include "host/linux/linux_log.h"
#include "host/linux/linux_os_variant.h"
#include "host/linux/linux_power_assertions.h"
#include "host/linux/linux_process.h"
#include "host/linux/linux_progress_display.h"
#include "host/linux/linux_property_list_files.h"
#include "host/linux/linux_reboot.h"
#include "host/linux/linux_task_launcher.h"
#include "host/linux/linux_task_queues.h"
#include "host/linux/linux_temporary_directory.h"
#include "host/linux/wait_watch.h"

#include <sys/reboot.h>
#include <unistd.h>

namespace marrow {

struct LinuxHost::Parts {
  LinuxLog log;
  std::unique_ptr<LogHandle> hostLog = log.createHandle(kHostSubsystem, "");
  WaitWatch waits{*hostLog};
  LinuxOSVariant osVariant;
  LinuxProcess process{*hostLog};
  LinuxClock clock;
  LinuxTaskQueues taskQueues;
  LinuxKernelVariables kernelVariables;
  EFIVariableStore variableStore{*hostLog};
  LinuxFirmwareVariables firmwareVariables{variableStore, *hostLog};
  BootLoaderEntries bootLoaderEntries{variableStore};
  LinuxDisks disks{*hostLog};
  LinuxPowerAssertions powerAssertions{*hostLog};
  LinuxProgressDisplay progressDisplay{*hostLog};
  LinuxGraphicsServer graphicsServer{*hostLog};
  LinuxKeyStore keyStore{*hostLog, [this] { return dataVolumeNode(); }};
  LinuxInstallerUtilities installerUtilities{
      {variableStore, bootLoaderEntries, disks.media(), *hostLog}};
  LinuxBootPolicy bootPolicy{variableStore, *hostLog};
  LinuxReboot reboot{bootLoaderEntries, *hostLog, {}, {[this] { flushAll(); }, ::reboot}};
  LinuxTaskLauncher taskLauncher{waits};
  LinuxFileHandles fileHandles{*hostLog};
  LinuxFiles files{waits};
  LinuxFileTrees fileTrees{*hostLog, waits};
  LinuxPropertyListFiles propertyListFiles{*hostLog};
  LinuxTemporaryDirectory temporaryDirectory{*hostLog};

  void flushAll() {
    const WaitWatch::Wait wait(waits, [] { return "the disks to take everything"; });
    ::sync();
  }

  // Of the group that the machine was booted from.
  std::optional<std::string> dataVolumeNode() {
    const auto group = kernelVariables.string("kern.bootuuid");
    return group ? disks.dataVolumeNode(*group) : std::nullopt;
  }
};

LinuxHost::LinuxHost() : _parts(std::make_unique<Parts>()) {}

LinuxHost::~LinuxHost() = default;

Host LinuxHost::host() {
  Parts& parts = *_parts;
  return {
      .osVariant = parts.osVariant,
      .process = parts.process,
      .log = parts.log,
      .clock = parts.clock,
      .taskQueues = parts.taskQueues,
      .kernelVariables = parts.kernelVariables,
      .firmwareVariables = parts.firmwareVariables,
      .deviceRegistry = parts.disks.deviceRegistry(),
      .media = parts.disks.media(),
      .diskArbitration = parts.disks.diskArbitration(),
      .powerAssertions = parts.powerAssertions,
      .progressDisplay = parts.progressDisplay,
      .graphicsServer = parts.graphicsServer,
      .keyStore = parts.keyStore,
      .installerUtilities = parts.installerUtilities,
      .bootPolicy = parts.bootPolicy,
      .reboot = parts.reboot,
      .taskLauncher = parts.taskLauncher,
      .fileHandles = parts.fileHandles,
      .files = parts.files,
      .fileTrees = parts.fileTrees,
      .deviceNames = parts.disks.deviceNames(),
      .propertyListFiles = parts.propertyListFiles,
      .temporaryDirectory = parts.temporaryDirectory,
  };
}

}  // namespace marrow
