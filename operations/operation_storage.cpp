#include "operations/operation_storage.h"

namespace marrow {

std::shared_ptr<MWStorageController> storageControllerOf(const MWOperation& operation) {
  const auto dataSource = operation.operationQueueDataSource();
  return dataSource ? dataSource->storageController() : nullptr;
}

}  // namespace marrow
