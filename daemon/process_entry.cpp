#include "daemon/process_entry.h"

#include "daemon/console_mirror.h"
#include "daemon/daemon_manager.h"
#include "daemon/log_channels.h"

namespace marrow {

MWDaemonManager::Services daemonServices(const Host& host) {
  return {
      .storage = {host.kernelVariables, host.deviceRegistry, host.media, host.diskArbitration,
                  host.taskQueues, host.files, host.propertyListFiles, host.process},
      .queue = {host.taskQueues, host.clock, host.firmwareVariables, host.osVariant, host.reboot},
      .migrator = {.taskLauncher = host.taskLauncher,
                   .fileHandles = host.fileHandles,
                   .files = host.files,
                   .deviceNames = host.deviceNames,
                   .temporaryDirectory = host.temporaryDirectory,
                   .installerUtilities = host.installerUtilities,
                   .osVariant = host.osVariant},
      .powerAssertions = host.powerAssertions,
      .progressDisplay = host.progressDisplay,
      .graphicsServer = host.graphicsServer,
      .taskQueues = host.taskQueues,
      .deviceRegistry = host.deviceRegistry,
      .bootPolicy = host.bootPolicy,
      .keyStore = host.keyStore,
      .installerUtilities = host.installerUtilities,
      .reboot = host.reboot,
      .process = host.process,
      .firmwareVariables = host.firmwareVariables,
      .propertyListFiles = host.propertyListFiles,
      .files = host.files,
      .fileTrees = host.fileTrees,
  };
}

int processEntry(const Host& host) {
  if (!host.osVariant.isBaseSystem("com.corvane.marrowd")) {
    return kNotInBaseSystem;
  }
  useLogService(&host.log);
  installConsoleMirror(host.log, host.files);
  log(generalLogChannel(), LogLevel::standard, LogEvent::daemonStarted, "Daemon starting up...");
  host.process.setIsDaemon(true);
  const auto daemonManager = MWDaemonManager::init(daemonServices(host));
  daemonManager->start();
  host.taskQueues.runMainLoop();
  return 0;
}

}  // namespace marrow
