// The firmware variables with which a machine starts.
#pragma once

#include "rehearsal/firmware_store.h"
#include "rehearsal/scenario.h"

#include <cstdint>
#include <string>

namespace marrow::rehearsal {

// The nonces (from the seed) and the digest of the one that this boot is for, the boot loader's
// entries, and the variables of a simulation.
void setUpFirmware(const FirmwareStore& firmware, const Scenario& scenario,
                   const std::string& group, std::uint64_t seed);

}  // namespace marrow::rehearsal
