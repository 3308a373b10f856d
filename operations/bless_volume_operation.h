// Makes the booted group's system volume the one that the machine starts from, unless the installer
// has chosen another target.
#pragma once

#include "engine/operation.h"
#include "host/installer_utilities.h"

#include <cstdint>
#include <optional>
#include <string>

namespace marrow {

inline constexpr char kMWBlessVolumeOperationErrorDomain[] = "MWBlessVolumeOperationErrorDomain";

// The code of that domain; its record has no user info.
inline constexpr std::int64_t kMWBlessVolumeOperationErrorBlessFailed = 1;

// The entry of the template-migration cookie that names another target to start from. Its presence
// alone counts, whatever its value.
inline constexpr char kQMOptionsKeyAlternateBlessTargetUUID[] = "AlternateBlessTargetUUID";

class MWBlessVolumeOperation : public MWOperation {
 public:
  // `utilities` outlives the operation.
  explicit MWBlessVolumeOperation(KWUtilities& utilities) : _utilities(utilities) {}

  std::string className() const override { return "MWBlessVolumeOperation"; }
  bool execute() override;
  double estimatedExecutionTime() const override { return 5.0; }

 private:
  bool bless(const std::optional<std::string>& deviceNode);

  KWUtilities& _utilities;
};

}  // namespace marrow
