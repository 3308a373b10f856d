// What a person asks of a rehearsal.
#pragma once

#include "rehearsal/file_systems.h"
#include "rehearsal/scenario.h"
#include "rehearsal/staged_objects.h"

#include <cstdint>
#include <optional>
#include <string>

namespace marrow::rehearsal {

struct Options {
  std::string scenario;
  // A person's own disk image, and where to look on it; empty for a fresh disk.
  std::string disk;
  std::string group;
  std::string bootObjectsPath;
  FileSystem fileSystem = FileSystem::kExt4;
  TreeSize treeSize;
  // Programs; empty for those beside this one.
  std::string daemon;
  std::string migrator;
  // How long the stand-in migrator takes, 0 for as fast as it can.
  unsigned migratorSeconds = 4;
  // In a virtual machine, from the parts in that folder (empty for the one beside the build), with
  // that program as the base system's first process; and how often to cut its power, or when.
  bool virtualMachine = false;
  std::string parts;
  std::string init = "systemd";
  std::optional<unsigned> cuts;
  std::optional<double> cutAtSeconds;
  std::optional<std::uint64_t> seed;
  std::optional<unsigned> cutAfterMilliseconds;
  std::string logs = "rehearsal-logs";
  std::string keep;
  std::string json;
  bool quiet = false;
  bool list = false;
  bool names = false;
  bool probe = false;

  Stage stage() const { return virtualMachine ? Stage::kVirtualMachine : Stage::kNamespaces; }
};

// Nothing when the program is to end at once with the status that was put in `status` (help was
// asked for, or the options make no sense: both have been told then).
std::optional<Options> parseOptions(int argc, const char* const* argv, int& status);

}  // namespace marrow::rehearsal
