// What the operations of a queue share: the storage controller, and where the migrator tool left
// its files. Not synchronised: an operation uses it on the thread that runs it, others only before
// and after the run.
#pragma once

#include <memory>
#include <optional>
#include <string>

namespace marrow {

class MWStorageController;

class MWOperationQueueDataSource {
 public:
  virtual ~MWOperationQueueDataSource() = default;

  virtual std::shared_ptr<MWStorageController> storageController() const = 0;

  // Absent until an operation has set it.
  virtual std::optional<std::string> loamMigratorLogPath() const = 0;
  virtual void setLoamMigratorLogPath(std::optional<std::string> path) = 0;

  // Absent until an operation has set it.
  virtual std::optional<std::string> loamMigratorMetricsPath() const = 0;
  virtual void setLoamMigratorMetricsPath(std::optional<std::string> path) = 0;
};

}  // namespace marrow
