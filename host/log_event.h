// What a message of the log tells, for whoever looks for it by kind and not by its words. A message
// whose words carry all that there is to know about it is no event.
#pragma once

#include <cstdint>

namespace marrow {

enum class LogEvent : std::uint8_t {
  none,

  // The daemon's run.
  daemonStarted,
  storageNotFound,
  allOperationsSucceeded,
  operationFailed,
  rebootBegun,
  stashedKeyNotCommitted,
  rebootFailed,

  // A wait without a limit takes long.
  waitGoesOn,

  // Any operation.
  operationStarted,
  operationSkipped,
  errorSimulated,
  panicSimulated,
  operationRepeated,

  // One operation each.
  volumeKeysNotCached,
  containerNotOffline,
  migrationNotNeeded,
  dataVolumeNotReadable,
  migratorStarted,
  migratorNotLaunched,
  migratorOutputNotRead,
  migratorOutput,
  migratorFailed,
  bootPolicyNotCommitted,
  bootObjectsInstalled,
  blessSkipped,
  blessFailed,
};

// How many there are, `none` among them.
inline constexpr unsigned kLogEventCount = static_cast<unsigned>(LogEvent::blessFailed) + 1;

}  // namespace marrow
