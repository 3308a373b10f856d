#include "sweep/planted_machine.h"

#include "rehearsal/base_system.h"
#include "rehearsal/digest.h"
#include "rehearsal/file_systems.h"
#include "rehearsal/files.h"
#include "rehearsal/loop_device.h"

#include <algorithm>
#include <array>

namespace marrow::sweep {
namespace {

using namespace rehearsal;

// What a run may change: what it installs, at both places, and what it writes.
constexpr std::array kChanged{"GROUP/morrel1/current",
                              "GROUP/morrel1/proposed",
                              "GROUP/restore",
                              "GROUP/restore-staged",
                              "GROUP/downlevel",
                              "GROUP/boot/active",
                              "GROUP/usr/standalone/firmware/arm64eBaseSystem.dmg",
                              "GROUP/usr/standalone/firmware/arm64eBaseSystem.dmg.staged",
                              "OBJECTS/usr/standalone/firmware/arm64eBaseSystem.dmg",
                              "OBJECTS/usr/standalone/firmware/arm64eBaseSystem.dmg.staged",
                              "nvram.plist",
                              ".marrow-nvram.plist",
                              "loam_migrator.log",
                              ".marrow-loam_migrator.log",
                              "lost+found"};
// What the base system's own processes and the daemon's own folders hold goes with it.
constexpr std::array kOwn{"run/marrow", "private/tmp", "srv/tray",          "dev",
                          "proc",       "sys",         "var/marrowd-output"};
constexpr const char* kTray = "srv/tray";
constexpr std::array kWritten{partition_type::kPreboot, partition_type::kRecovery,
                              partition_type::kUpdate};

bool isBelowAny(const std::string& path, const std::vector<std::string>& folders) {
  return std::ranges::any_of(folders, [&](const std::string& folder) {
    return path == folder || path.starts_with(folder + '/');
  });
}

std::string typeOf(Ground ground) {
  return std::string(ground == Ground::kPreboot    ? partition_type::kPreboot
                     : ground == Ground::kRecovery ? partition_type::kRecovery
                                                   : partition_type::kUpdate);
}

// The tool's arguments stand in this order: -M -m METRICS -l LOG -n -t SECONDS -g FIFO DEVICE.
std::string leavingMigrator(const std::string& name) {
  const bool isLog = name.ends_with(".log");
  return std::string("#!/bin/sh\necho 50 >\"${10}\"\n") +
         (isLog ? "echo metrics >\"$3\"\n" : "echo log >\"$5\"\n") + "mv -T /" + kTray + '/' +
         name + (isLog ? " \"$5\"\n" : " \"$3\"\n");
}

}  // namespace

PlantedMachine::PlantedMachine(SweptMachine& machine, const Workplace& workplace)
    : _machine(machine),
      _place(workplace.folder("planting")),
      _migrator(readFile(_machine.root() / machine_path::kMigrator).value_or("")) {}

void PlantedMachine::run(Thing thing, const PlantedPlace& place) {
  _complaints.clear();
  putBack();
  plantOnDisk(thing, place);
  const Volumes before = lookAtVolumes();
  const std::string othersBefore = digestOfOthers();
  const StartEnd end = _machine.start(StartPlan{.prepare = [&] {
    plantInBaseSystem(thing, place);
    _baseSystemBefore = lookAtBaseSystem();
  }});
  judgeEnd(end);
  for (const auto& [volume, after] : lookAtVolumes()) {
    std::ranges::move(compareInventories(volume, before.at(volume), after),
                      std::back_inserter(_complaints));
  }
  if (digestOfOthers() != othersBefore) {
    _complaints.emplace_back("another volume, or the partition table, has changed");
  }
  judgeWhatGotOut();
}

void PlantedMachine::putBack() const {
  _machine.putBack();
  std::filesystem::remove_all(_machine.root() / "srv");
  writeFile(_machine.root() / machine_path::kMigrator, _migrator, 0755);
}

std::string PlantedMachine::verdict() const {
  const auto said = [this](const char* text) { return _console.find(text) != std::string::npos; };
  return said("All Marrow operations have completed")      ? "succeeded"
         : said("One of the Marrow operations has failed") ? "failed"
                                                           : "said nothing of its end";
}

void PlantedMachine::plantOnDisk(Thing thing, const PlantedPlace& place) {
  if (place.ground == Ground::kBaseSystem || place.ground == Ground::kLeftByMigrator) {
    return;
  }
  const BootDisk& disk = _machine.disk().layout();
  const auto node = [&](std::string_view type) {
    return _machine.disk().device().node(disk.partitionOf(type).value());
  };
  const MountedVolume volume(node(typeOf(place.ground)), _place, MountedVolume::Access::kReadWrite);
  plant(thing, volume.path(), place.pathOn(disk), _machine.root(), node(partition_type::kData));
}

void PlantedMachine::plantInBaseSystem(Thing thing, const PlantedPlace& place) {
  const std::filesystem::path& root = _machine.root();
  const BootDisk& disk = _machine.disk().layout();
  const auto data = _machine.disk().device().node(disk.partitionOf(partition_type::kData).value());
  const std::string name = place.pathOn(disk).filename();
  if (place.ground == Ground::kBaseSystem) {
    plant(thing, root, place.path, root, data);
  } else if (place.ground == Ground::kLeftByMigrator) {
    plant(thing, root, std::filesystem::path(kTray) / name, root, data);
    writeFile(root / machine_path::kMigrator, leavingMigrator(name), 0755);
  }
}

PlantedMachine::Volumes PlantedMachine::lookAtVolumes() const {
  const BootDisk& disk = _machine.disk().layout();
  std::vector<std::string> changed;
  for (const char* path : kChanged) {
    changed.push_back(PlantedPlace{Ground::kPreboot, path}.pathOn(disk));
  }
  _machine.disk().device().waitUntilUnused();
  Volumes volumes;
  for (const Partition& partition : disk.partitions) {
    if (std::ranges::find(kWritten, partition.type) != kWritten.end()) {
      const MountedVolume volume(_machine.disk().device().node(partition.number), _place,
                                 MountedVolume::Access::kReadOnly);
      volumes[partition.type] = takeInventory(
          volume.path(), [&](const std::string& path) { return isBelowAny(path, changed); });
    }
  }
  return volumes;
}

std::string PlantedMachine::digestOfOthers() const {
  std::string digest;
  for (const Partition& partition : _machine.disk().layout().partitions) {
    if (std::ranges::find(kWritten, partition.type) == kWritten.end()) {
      digest += rangeDigest(_machine.disk().image(), partition.start, partition.size);
    }
  }
  return digest + rangeDigest(_machine.disk().image(), 0, 1U << 20U);
}

Inventory PlantedMachine::lookAtBaseSystem() const {
  const std::vector<std::string> own(kOwn.begin(), kOwn.end());
  return takeInventory(_machine.root(),
                       [&](const std::string& path) { return isBelowAny(path, own); });
}

void PlantedMachine::judgeEnd(const StartEnd& end) {
  _console = end.console;
  if (end.trace.hung) {
    _complaints.emplace_back("the machine did not come to its end");
  } else if (end.machine.kind != MachineEnd::Kind::kReboot) {
    _complaints.push_back("the machine came to \"" + end.machine.describe() + '"');
  }
  std::ranges::copy(end.leftovers, std::back_inserter(_complaints));
  std::ranges::move(compareInventories("base system", _baseSystemBefore, lookAtBaseSystem()),
                    std::back_inserter(_complaints));
}

// What a link leads to must not have been read into what the run leaves.
void PlantedMachine::judgeWhatGotOut() {
  const std::string foreign(std::string_view(kForeignText).substr(0, 30));
  if (_machine.firmware().get("OTA-migrator-metrics").value_or("").starts_with(foreign)) {
    _complaints.emplace_back("the metrics in the firmware are what a link leads to");
  }
  if (_console.find(foreign) != std::string::npos) {
    _complaints.emplace_back("the console shows what a link leads to");
  }
}

}  // namespace marrow::sweep
