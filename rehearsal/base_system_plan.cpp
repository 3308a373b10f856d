#include "rehearsal/base_system_plan.h"

namespace marrow::rehearsal {

BaseSystem planBaseSystem(const Options& options, const Scenario& scenario, const BootDisk& disk,
                          const std::string& migrator) {
  BaseSystem system{.root = {},
                    .daemon = {},
                    .internalBuild = scenario.simulation.has_value(),
                    .group = disk.group,
                    .bootObjectsPath = disk.bootObjectsPath};
  if (scenario.migrator != MigratorPlan::kMissing) {
    system.migrator = migrator;
  }
  if (scenario.migrator == MigratorPlan::kFails) {
    system.migratorStatus = kFailingMigratorStatus;
  }
  if (options.migrator.empty() && options.migratorSeconds > 0) {
    system.migratorArguments =
        "-r " + std::to_string(disk.sizeOf(partition_type::kData) / options.migratorSeconds);
  }
  return system;
}

MigratorWords standInWords(const std::string& fileSystem, const std::string& kernelName,
                           std::uint64_t bytes) {
  return {.metrics = "dry-run status=0 fs=" + fileSystem + " bytes=" + std::to_string(bytes),
          .firstLogLine = "loam_migrator dry run of /dev/" + kernelName};
}

}  // namespace marrow::rehearsal
