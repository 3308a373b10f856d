#include "tests/host/in_memory_installer.h"

#include <utility>

namespace marrow {

bool InMemoryInstaller::isDarkBoot() { return !_calls.made("KWUtilities.isDarkBoot") && _darkBoot; }

void InMemoryInstaller::muteBootChimeForNextReboot() {
  if (!_calls.made("KWUtilities.muteBootChimeForNextReboot")) {
    _muted = true;
  }
}

void InMemoryInstaller::enableDarkReboot() {
  if (!_calls.made("KWUtilities.enableDarkReboot")) {
    _darkReboot = true;
  }
}

bool InMemoryInstaller::blessDevice(const std::optional<std::string>& deviceNode, bool oneTime) {
  const std::string arguments =
      deviceNode.value_or("(null)") + (oneTime ? " oneTime=true" : " oneTime=false");
  if (_calls.made("KWUtilities.blessDevice", arguments) || !isSystemVolume(deviceNode)) {
    return false;
  }
  (oneTime ? _blessedOnce : _blessed) = deviceNode;
  return true;
}

void InMemoryInstaller::restart() {
  _darkBoot = std::exchange(_darkReboot, false);
  _muted = false;
  _blessedOnce.reset();
}

bool InMemoryInstaller::isSystemVolume(const std::optional<std::string>& deviceNode) const {
  const std::string folder = "/dev/";
  if (!deviceNode || !deviceNode->starts_with(folder)) {
    return false;
  }
  const auto volume = _partitions.description(deviceNode->substr(folder.size()));
  return volume && volume->role == VolumeRole::system && !volume->group.empty();
}

std::int32_t InMemoryKeyStore::cks_br_commit_stashed_kek() {
  if (const auto failure = _calls.made("KeyStore.cks_br_commit_stashed_kek")) {
    return failure->status();
  }
  _stash = _stash == Stash::staged ? Stash::committed : _stash;
  return 0;
}

}  // namespace marrow
