#include "rehearsal/firmware_setup.h"

#include "rehearsal/digest.h"

#include <algorithm>
#include <cctype>

namespace marrow::rehearsal {
namespace {

constexpr const char* kBaseEntry = "marrowd-base.conf";
constexpr const char* kOldEntry = "marrow-before.conf";

std::string digestOf(Algorithm algorithm, const std::string& bytes) {
  Digest digest(algorithm);
  digest.add(bytes);
  return digest.finish();
}

std::string nonceFrom(std::uint64_t seed, const char* which) {
  return digestOf(Algorithm::kSha256, which + std::to_string(seed));
}

// The boot loader lowers the names of its entries.
std::string entryOf(std::string group) {
  std::ranges::transform(group, group.begin(), [](unsigned char c) { return std::tolower(c); });
  return "marrow-" + group + ".conf";
}

}  // namespace

void setUpFirmware(const FirmwareStore& firmware, const Scenario& scenario,
                   const std::string& group, std::uint64_t seed) {
  const std::string inForce = nonceFrom(seed, "in force");
  const std::string proposed = nonceFrom(seed, "proposed");
  firmware.set("marrow-nonce", inForce);
  firmware.set("marrow-nonce-proposed", proposed);
  firmware.set("asmb-lp-lpnh",
               digestOf(Algorithm::kSha384, scenario.bootedFromProposed ? proposed : inForce));
  const std::string separator(1, '\0');
  firmware.setLoader("LoaderEntries",
                     kBaseEntry + separator + kOldEntry + separator + entryOf(group));
  firmware.setLoader("LoaderEntrySelected", kBaseEntry);
  firmware.setLoader("LoaderEntryOneShot", kBaseEntry);
  firmware.setLoader("LoaderEntryDefault", kOldEntry);
  if (scenario.simulation) {
    firmware.set("postota-sim-step", scenario.simulation->operation);
    firmware.set("postota-sim-command", scenario.simulation->command);
    firmware.set("postota-sim-repeat", scenario.simulation->repeat);
  }
}

}  // namespace marrow::rehearsal
