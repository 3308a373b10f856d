// Everything that a run may change, at one moment, as short texts to compare.
#pragma once

#include "rehearsal/boot_disk.h"
#include "rehearsal/firmware_store.h"

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace marrow::rehearsal {

// What is looked at, in the order in which it is told.
struct Item {
  const char* key;
  // Words for a person.
  const char* label;
};
const std::vector<Item>& items();

// Texts that stand for no value.
inline constexpr const char* kNothing = "(none)";
inline constexpr const char* kNoVolume = "(no volume)";
inline constexpr const char* kNoFolder = "(no folder)";
inline constexpr const char* kNoDictionary = "(no dictionary)";

// The value of each item by its key: a digest, a text, or one of those above.
using Snapshot = std::map<std::string, std::string>;

struct SnapshotSources {
  const BootDisk& disk;
  // The node of a partition, by its number.
  std::function<std::filesystem::path(int)> node;
  // The whole disk: raw volumes are compared by what it holds.
  int image;
  const FirmwareStore& firmware;
  // Root of the base system.
  std::filesystem::path root;
  // Where volumes are mounted for the moment.
  std::filesystem::path place;
};

// No machine may be using the disk. Looking changes nothing but what any mount of a file system
// that was cut off does: its journal is replayed. Throws Problem.
Snapshot takeSnapshot(const SnapshotSources& sources);

}  // namespace marrow::rehearsal
