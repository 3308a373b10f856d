// The orchestrator: builds the storage controller, the state manager, the operation queue and the
// progress client, runs the fixed sequence of operations, hands telemetry over and reboots. Every
// path through it ends in a reboot; there is one, and nothing ever releases it.
#pragma once

#include "engine/operation_queue.h"
#include "engine/operation_queue_delegate.h"
#include "host/boot_policy.h"
#include "host/device_registry.h"
#include "host/file_trees.h"
#include "host/files.h"
#include "host/firmware_variables.h"
#include "host/graphics_server.h"
#include "host/installer_utilities.h"
#include "host/key_store.h"
#include "host/power_assertions.h"
#include "host/process.h"
#include "host/progress_display.h"
#include "host/property_list_files.h"
#include "host/reboot.h"
#include "host/task_queues.h"
#include "operations/loam_migrator_operation.h"
#include "power/state_manager.h"
#include "storage/storage_controller.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace marrow {

class MWDaemonManager : public MWOperationQueueDelegate,
                        public std::enable_shared_from_this<MWDaemonManager> {
 public:
  struct Services {
    MWStorageController::Services storage;
    MWOperationQueue::Services queue;
    MWLoamMigratorOperation::Services migrator;
    PowerAssertions& powerAssertions;
    ProgressDisplay& progressDisplay;
    GraphicsServer& graphicsServer;
    TaskQueues& taskQueues;
    DeviceRegistry& deviceRegistry;
    BootPolicy& bootPolicy;
    KeyStore& keyStore;
    KWUtilities& installerUtilities;
    Reboot& reboot;
    Process& process;
    FirmwareVariables& firmwareVariables;
    PropertyListFiles& propertyListFiles;
    Files& files;
    FileTrees& fileTrees;
  };

  // Builds everything, on the main thread. Where the storage controller cannot be built it does not
  // come back: the machine reboots.
  static std::shared_ptr<MWDaemonManager> init(const Services& services);

  // Shows the progress, refuses foreign mounts, submits the run to `daemonQueue` and returns. Main
  // thread.
  void start();

  // Shows the fraction (0 to 1) as a percentage, on the main thread. Any thread; returns at once.
  void operationQueueReceivedEstimatedTimeRemaining(MWOperationQueue& queue,
                                                    std::uint64_t secondsRemaining,
                                                    float percentage) override;

  // Commits the stashed key and reboots; the process has ended when it is through.
  [[noreturn]] void _stashAndReboot();

  // Carries the migrator's metrics and log to where they survive the reboot. Failures are logged;
  // none stops it.
  void _synchronizeTelemetryToUpdateVolume();

  // True also when there is no update volume, no shadow file in it, or no dictionary in that file.
  bool _setShadowedNVRAMValue(const std::string& value, const std::string& key,
                              const std::optional<std::string>& updateVolume);

  void _writeLoamMigratorMetricsToNVRAMForPath(const std::string& path,
                                               const std::optional<std::string>& updateVolume);

  const std::shared_ptr<SerialTaskQueue>& daemonQueue() const { return _daemonQueue; }
  void setDaemonQueue(std::shared_ptr<SerialTaskQueue> queue) { _daemonQueue = std::move(queue); }
  const std::shared_ptr<MWStateManager>& stateManager() const { return _stateManager; }
  void setStateManager(std::shared_ptr<MWStateManager> manager) {
    _stateManager = std::move(manager);
  }
  const std::shared_ptr<MWOperationQueue>& operationQueue() const { return _operationQueue; }
  void setOperationQueue(std::shared_ptr<MWOperationQueue> queue) {
    _operationQueue = std::move(queue);
  }
  const std::shared_ptr<KQUnifiedProgressClient>& progressClient() const { return _progressClient; }
  void setProgressClient(std::shared_ptr<KQUnifiedProgressClient> client) {
    _progressClient = std::move(client);
  }

 private:
  explicit MWDaemonManager(const Services& services) : _services(services) {}

  void build();
  void run();
  void addOperations();
  void addBootOperations();

  const Services _services;
  std::shared_ptr<SerialTaskQueue> _daemonQueue;
  std::shared_ptr<MWStateManager> _stateManager;
  std::shared_ptr<MWOperationQueue> _operationQueue;
  std::shared_ptr<KQUnifiedProgressClient> _progressClient;
};

}  // namespace marrow
