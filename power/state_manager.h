// What outlives a single operation: the storage controller, the files that the migrator left for
// the telemetry, and the power assertions that keep the machine and its display awake for as long
// as the daemon runs.
//
// Made on the main thread. Its fields are not locked: the operations, which run one after another
// on one queue, write them, and what comes after the operations on that queue reads them.
#pragma once

#include "engine/operation_queue_data_source.h"
#include "host/power_assertions.h"
#include "storage/storage_controller.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace marrow {

class MWStateManager : public MWOperationQueueDataSource {
 public:
  // Takes the three assertions. One that the machine refuses is logged, reads 0, and is done
  // without. None is ever released: they end with the process. The service outlives the manager.
  MWStateManager(std::shared_ptr<MWStorageController> storageController,
                 PowerAssertions& powerAssertions);

  // 0 when the assertion was refused.
  PowerAssertionID softwareUpdateAssertion() const { return _softwareUpdateAssertion; }
  void setSoftwareUpdateAssertion(PowerAssertionID id) { _softwareUpdateAssertion = id; }
  PowerAssertionID systemSleepAssertion() const { return _systemSleepAssertion; }
  void setSystemSleepAssertion(PowerAssertionID id) { _systemSleepAssertion = id; }
  PowerAssertionID displaySleepAssertion() const { return _displaySleepAssertion; }
  void setDisplaySleepAssertion(PowerAssertionID id) { _displaySleepAssertion = id; }

  std::shared_ptr<MWStorageController> storageController() const override {
    return _storageController;
  }
  void setStorageController(std::shared_ptr<MWStorageController> controller) {
    _storageController = std::move(controller);
  }

  // Absent until the migrator operation sets them.
  std::optional<std::string> loamMigratorLogPath() const override { return _loamMigratorLogPath; }
  void setLoamMigratorLogPath(std::optional<std::string> path) override {
    _loamMigratorLogPath = std::move(path);
  }
  std::optional<std::string> loamMigratorMetricsPath() const override {
    return _loamMigratorMetricsPath;
  }
  void setLoamMigratorMetricsPath(std::optional<std::string> path) override {
    _loamMigratorMetricsPath = std::move(path);
  }

 private:
  void _enablePowerAssertions();
  PowerAssertionID _createAssertionWithType(const char* type, const char* name,
                                            const char* logMessage, const char* errorMessage);

  PowerAssertions& _powerAssertions;
  PowerAssertionID _softwareUpdateAssertion = 0;
  PowerAssertionID _systemSleepAssertion = 0;
  PowerAssertionID _displaySleepAssertion = 0;
  std::shared_ptr<MWStorageController> _storageController;
  std::optional<std::string> _loamMigratorLogPath;
  std::optional<std::string> _loamMigratorMetricsPath;
};

}  // namespace marrow
