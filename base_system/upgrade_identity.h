// What tells one upgrade from another.
#pragma once

#include "host/boot_policy.h"
#include "host/kernel_variables.h"
#include "host/log.h"

#include <string>

namespace marrow {

// The booted group and the digest of the nonce that the upgrade proposes, as "GROUP/HEX". The
// commit of that nonce does not change it. A part that cannot be had is "-": upgrades that differ
// in nothing else count as one. Without spaces. What was wrong is logged.
std::string upgradeIdentity(KernelVariables& variables, BootPolicy& policy, LogHandle& log);

}  // namespace marrow
