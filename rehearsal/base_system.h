// The base system that a machine runs from: a folder in memory, with the programs and libraries of
// the real machine bound in read-only when it starts.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace marrow::rehearsal {

class LoopDevice;

struct BaseSystem {
  // Set by the caller.
  std::filesystem::path root;
  // Contents of programs, read before the workplace hid where they lie.
  std::string daemon;
  std::optional<std::string> migrator{};
  // What stands before the migrator's own arguments, or a status that it always ends with.
  std::string migratorArguments{};
  std::optional<int> migratorStatus{};
  // A command of the shell that runs to its end before the migrator does.
  std::string beforeMigrator{};
  bool internalBuild = false;
  std::string group;
  std::string bootObjectsPath;
};

// Paths inside the machine.
namespace machine_path {
inline constexpr const char* kDaemon = "opt/marrow/marrowd";
inline constexpr const char* kMigrator =
    "System/Library/Filesystems/loam.fs/Contents/Resources/loam_migrator";
inline constexpr const char* kCommandLine = "etc/kernel-command-line";
inline constexpr const char* kMigratorLog = "private/tmp/loam_migrator.log";
inline constexpr const char* kMigratorMetrics = "private/tmp/loam_migrator_metrics.dat";
}  // namespace machine_path

// Folders of the real machine's root that a machine shares, read-only.
std::vector<std::string> sharedFolders();

// Puts the migrator alone in its place below the root; where there is none, its folder.
void installMigrator(const BaseSystem& system);

// Puts all files and device nodes of the base system below its root. Of the real machine's devices
// it knows the harmless ones and the one disk.
void installBaseSystem(const BaseSystem& system, const std::vector<std::filesystem::path>& disk);

}  // namespace marrow::rehearsal
