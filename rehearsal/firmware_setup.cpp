#include "rehearsal/firmware_setup.h"

#include "rehearsal/digest.h"

#include <algorithm>
#include <cctype>

namespace marrow::rehearsal {
namespace {

std::string digestOf(Algorithm algorithm, const std::string& bytes) {
  Digest digest(algorithm);
  digest.add(bytes);
  return digest.finish();
}

std::string nonceFrom(std::uint64_t seed, const char* which) {
  return digestOf(Algorithm::kSha256, which + std::to_string(seed));
}

constexpr const char* kInForce = "in force";
constexpr const char* kProposed = "proposed";

const char* nameOf(BootedNonce nonce) {
  switch (nonce) {
    case BootedNonce::kProposed:
      return kProposed;
    case BootedNonce::kInForce:
      return kInForce;
    case BootedNonce::kUnknown:
      break;
  }
  return "unknown";
}

}  // namespace

std::string entryOf(std::string group) {
  std::ranges::transform(group, group.begin(), [](unsigned char c) { return std::tolower(c); });
  return "marrow-" + group + ".conf";
}

void pretendLoader(const FirmwareStore& firmware, const Scenario& scenario,
                   const std::string& group) {
  const std::string separator(1, '\0');
  const std::string entries = kBaseEntry + separator + kOldEntry;
  firmware.setLoader("LoaderEntries",
                     scenario.entryMissing ? entries : entries + separator + entryOf(group));
  firmware.setLoader("LoaderEntrySelected", kBaseEntry);
}

void stageFirmware(const FirmwareStore& firmware, const Scenario& scenario, std::uint64_t seed) {
  firmware.set("marrow-nonce", nonceFrom(seed, kInForce));
  firmware.set("marrow-nonce-proposed", nonceFrom(seed, kProposed));
  firmware.set("asmb-lp-lpnh",
               digestOf(Algorithm::kSha384, nonceFrom(seed, nameOf(scenario.bootedNonce))));
  firmware.setLoader("LoaderEntryOneShot", kBaseEntry);
  firmware.setLoader("LoaderEntryDefault", kOldEntry);
  if (scenario.simulation) {
    firmware.set("postota-sim-step", scenario.simulation->operation);
    firmware.set("postota-sim-command", scenario.simulation->command);
    // Firmware takes an empty value for a deletion.
    if (!scenario.simulation->repeat.empty()) {
      firmware.set("postota-sim-repeat", scenario.simulation->repeat);
    }
  }
}

}  // namespace marrow::rehearsal
