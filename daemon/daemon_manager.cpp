#include "daemon/daemon_manager.h"

#include "daemon/log_channels.h"
#include "operations/bless_volume_operation.h"
#include "operations/commit_boot_objects_operation.h"
#include "operations/commit_boot_policy_operation.h"
#include "operations/unmount_container_operation.h"

#include <cstdlib>

namespace marrow {

std::shared_ptr<MWDaemonManager> MWDaemonManager::init(const Services& services) {
  std::shared_ptr<MWDaemonManager> manager(new MWDaemonManager(services));
  manager->build();
  return manager;
}

void MWDaemonManager::build() {
  _daemonQueue = _services.taskQueues.createSerialQueue("com.corvane.marrowd.DaemonManager");
  ErrorRef error;
  const auto storageController = MWStorageController::initWithError(_services.storage, &error);
  if (!storageController) {
    log(generalLogChannel(), LogLevel::error, LogEvent::storageNotFound,
        "Failed to initialize MWStorageController: %@", error);
    _stashAndReboot();
  }
  _stateManager = std::make_shared<MWStateManager>(storageController, _services.powerAssertions);
  _operationQueue =
      std::make_shared<MWOperationQueue>(_stateManager, weak_from_this(), _services.queue);
  _progressClient = _services.progressDisplay.createClient("Marrow");
}

void MWDaemonManager::start() {
  _stateManager->storageController()->startDissentingMounts();
  _progressClient->showProgressUI();
  _progressClient->setProgress(0.0F, false);
  _services.graphicsServer.enableDisplayUpdates();
  _daemonQueue->async([self = shared_from_this()] { self->run(); });
}

void MWDaemonManager::run() {
  _operationQueue->setSimulatedActionFromNVRAM();
  addOperations();
  ErrorRef error;
  if (_operationQueue->startAndReturnError(&error)) {
    log(generalLogChannel(), LogLevel::standard, LogEvent::allOperationsSucceeded,
        "All Marrow operations have completed successfully!");
  } else {
    log(generalLogChannel(), LogLevel::error, LogEvent::operationFailed,
        "One of the Marrow operations has failed: %@", error);
  }
  _synchronizeTelemetryToUpdateVolume();
  _stashAndReboot();
}

void MWDaemonManager::addOperations() {
  _operationQueue->addOperation(std::make_shared<MWUnmountContainerOperation>());
  _operationQueue->addOperation(std::make_shared<MWLoamMigratorOperation>(_services.migrator));
  if (MWCommitBootPolicyOperation::bootedFromProposedNonce(_services.deviceRegistry,
                                                           _services.bootPolicy)) {
    addBootOperations();
  }
  _operationQueue->addOperation(
      std::make_shared<MWBlessVolumeOperation>(_services.installerUtilities));
}

void MWDaemonManager::addBootOperations() {
  const auto policy = std::make_shared<MWCommitBootPolicyOperation>(_services.bootPolicy);
  _operationQueue->addOperation(policy);
  const auto objects =
      std::make_shared<MWCommitBootObjectsOperation>(_services.files, _services.fileTrees);
  _operationQueue->addOperation(objects);
  policy->setBootObjectsOperation(objects);
}

void MWDaemonManager::operationQueueReceivedEstimatedTimeRemaining(
    MWOperationQueue& /*queue*/, std::uint64_t /*secondsRemaining*/, float percentage) {
  _services.taskQueues.mainQueue().async(
      [client = _progressClient, percentage] { client->setProgress(percentage * 100.0F, true); });
}

void MWDaemonManager::_stashAndReboot() {
  log(generalLogChannel(), LogLevel::standard, LogEvent::rebootBegun,
      "Brume stash and system reboot is being performed...");
  const std::int32_t stashStatus = _services.keyStore.cks_br_commit_stashed_kek();
  if (stashStatus == 0) {
    log(generalLogChannel(), LogLevel::standard, "Brume stash commit was successful.");
  } else {
    log(generalLogChannel(), LogLevel::error, LogEvent::stashedKeyNotCommitted,
        "cks_br_commit_stashed_kek() returned %d", stashStatus);
  }
  _services.installerUtilities.muteBootChimeForNextReboot();
  _services.installerUtilities.enableDarkReboot();
  const std::int32_t rebootStatus = _services.reboot.reboot(kRebootFull);
  if (rebootStatus != 0) {
    log(generalLogChannel(), LogLevel::error, LogEvent::rebootFailed,
        "Failed to perform a full system reboot. %d", rebootStatus);
  }
  _services.process.exit(rebootStatus);
  std::abort();  // never reached, but g++ does not see through the virtual call
}

}  // namespace marrow
