// The firmware variables with which a machine starts.
#pragma once

#include "rehearsal/firmware_store.h"
#include "rehearsal/scenario.h"

#include <cstdint>
#include <string>

namespace marrow::rehearsal {

// The boot loader's entry that a machine starts before its update, and that of the base system.
inline constexpr const char* kOldEntry = "marrow-before.conf";
inline constexpr const char* kBaseEntry = "marrow-base-system.conf";

// The entry of a volume group. The boot loader lowers the names of its entries.
std::string entryOf(std::string group);

// What an update leaves: the nonces (from the seed) and the digest of the one that the next boot is
// for, the variables of a simulation, and the base system as the entry to be started once.
void stageFirmware(const FirmwareStore& firmware, const Scenario& scenario, std::uint64_t seed);

// What the boot loader tells of itself and of its entries when it has started the base system.
// Where there is a real one, it says so itself.
void pretendLoader(const FirmwareStore& firmware, const Scenario& scenario,
                   const std::string& group);

}  // namespace marrow::rehearsal
