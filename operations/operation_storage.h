// How an operation reaches the storage controller.
#pragma once

#include "engine/operation.h"
#include "storage/storage_controller.h"

#include <memory>

namespace marrow {

// Null when the operation was given no data source, or it is gone: to the operation that is a
// machine without any volumes.
std::shared_ptr<MWStorageController> storageControllerOf(const MWOperation& operation);

}  // namespace marrow
