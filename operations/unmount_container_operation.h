// Takes the booted container offline: from here on nobody may mount one of its volumes, the data
// volume's keys are loaded and kept, and every volume is unmounted.
#pragma once

#include "engine/operation.h"
#include "host/error_record.h"

#include <string>

namespace marrow {

class MWStorageController;

// It makes no error records: a failure carries the one of the mount or unmount that failed, if that
// gave one. Whatever the outcome, mounts of the container stay refused.
class MWUnmountContainerOperation : public MWOperation {
 public:
  std::string className() const override { return "MWUnmountContainerOperation"; }
  bool execute() override;
  double estimatedExecutionTime() const override { return 5.0; }

 private:
  bool cacheDataVolumeKeys(MWStorageController& controller, ErrorSlot error);
};

}  // namespace marrow
