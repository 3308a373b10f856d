// The installer's utilities and the key store: what they were asked to keep for the next boot.
#pragma once

#include "host/installer_utilities.h"
#include "host/key_store.h"
#include "tests/host/calls.h"
#include "tests/host/in_memory_partitions.h"

#include <optional>
#include <string>

namespace marrow {

class InMemoryInstaller : public KWUtilities {
 public:
  InMemoryInstaller(Calls& calls, InMemoryPartitions& partitions)
      : _calls(calls), _partitions(partitions) {}

  bool isDarkBoot() override;
  void muteBootChimeForNextReboot() override;
  void enableDarkReboot() override;
  // The journal has the node ("(null)" for none) and "oneTime=true" or "oneTime=false".
  bool blessDevice(const std::optional<std::string>& deviceNode, bool oneTime) override;

  // The next boot begins: dark when that was asked for.
  void restart();

  void setDarkBoot(bool darkBoot) { _darkBoot = darkBoot; }
  bool chimeIsMuted() const { return _muted; }
  bool rebootIsDark() const { return _darkReboot; }
  // The nodes that are blessed from now on, and for the next start alone.
  const std::optional<std::string>& blessed() const { return _blessed; }
  const std::optional<std::string>& blessedOnce() const { return _blessedOnce; }

 private:
  bool isSystemVolume(const std::optional<std::string>& deviceNode) const;

  Calls& _calls;
  InMemoryPartitions& _partitions;
  bool _darkBoot = false;
  bool _muted = false;
  bool _darkReboot = false;
  std::optional<std::string> _blessed;
  std::optional<std::string> _blessedOnce;
};

class InMemoryKeyStore : public KeyStore {
 public:
  explicit InMemoryKeyStore(Calls& calls) : _calls(calls) {}

  std::int32_t cks_br_commit_stashed_kek() override;

  enum class Stash : std::uint8_t { none, staged, committed };
  void setStash(Stash stash) { _stash = stash; }
  Stash stash() const { return _stash; }

 private:
  Calls& _calls;
  Stash _stash = Stash::staged;
};

}  // namespace marrow
