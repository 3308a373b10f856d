#include "rehearsal/vm/guest/guest.h"

#include "rehearsal/cookie.h"
#include "rehearsal/disk_content.h"
#include "rehearsal/files.h"
#include "rehearsal/firmware_setup.h"
#include "rehearsal/problem.h"
#include "rehearsal/state_snapshot.h"
#include "rehearsal/vm/data_key.h"

#include <fcntl.h>

namespace marrow::rehearsal {
namespace {

constexpr const char* kDisk = "/dev/vda";
constexpr const char* kFirmware = "/sys/firmware/efi/efivars";
constexpr const char* kPlace = "/mnt";
// Set by the new system when it has started the base system once more.
constexpr const char* kEnteredTwice = "marrow-vm-entered-twice";

std::filesystem::path nodeOf(int number) { return kDisk + std::to_string(number); }

BootDisk diskOf(const GuestPlan& plan) {
  BootDisk disk = examineDisk(readPartitionTable(kDisk), plan.group);
  disk.bootObjectsPath = plan.bootObjectsPath;
  return disk;
}

}  // namespace

Guest::Guest(GuestPlan plan)
    : _plan(std::move(plan)),
      _scenario(scenarioNamed(_plan.scenario, Stage::kVirtualMachine)),
      _firmware(kFirmware),
      _disk(diskOf(_plan)) {}

GuestReport Guest::run(const std::string& system) {
  if (system == guest_system::kInstaller) {
    stage();
    _end = GuestEnd::kRestart;
  }
  GuestReport report{.system = system, .snapshot = snapshot(), .problem = {}};
  if (hasToEnterAgain(system)) {
    enterBaseSystem();
  }
  return report;
}

// An old system that finds an update proposed which no base system has begun (it counts its starts)
// asks for it once more, as the update service of a real one does: the boot loader's word for the
// next boot is used up when the machine loses its power while the base system is being loaded.
bool Guest::hasToEnterAgain(const std::string& system) const {
  if (system == guest_system::kOld) {
    return _firmware.get("marrow-nonce-proposed") && !_firmware.get("marrow-retry");
  }
  return system == guest_system::kNew && _scenario.enteredTwice && !_firmware.get(kEnteredTwice);
}

void Guest::stage() {
  for (const Partition& partition : _disk.partitions) {
    if (partition.type == partition_type::kPreboot || partition.type == partition_type::kRecovery) {
      stageOn(partition);
    }
  }
  const std::optional<int> data = _disk.partitionOf(partition_type::kData);
  if (_scenario.encryptedData && data) {
    encryptVolume(nodeOf(*data));
  }
  stageFirmware(_firmware, _scenario, _plan.seed);
}

void Guest::stageOn(const Partition& partition) {
  const MountedVolume volume(nodeOf(partition.number), kPlace, MountedVolume::Access::kReadWrite);
  stageUpdate(volume.path(), partition, _disk, _plan.treeSize, _interruption);
  if (partition.type == partition_type::kPreboot && !_scenario.cookieKey.empty()) {
    writeCookie(cookieFile(volume.path(), _disk.group), _scenario.cookieKey);
  }
}

void Guest::enterBaseSystem() {
  if (_scenario.enteredTwice) {
    _firmware.set(kEnteredTwice, "1");
  }
  _firmware.setLoader("LoaderEntryOneShot", kBaseEntry);
  _end = GuestEnd::kRestart;
}

Snapshot Guest::snapshot() const {
  const Descriptor disk = openFile(kDisk, O_RDONLY);
  return takeSnapshot({.disk = _disk,
                       .node = &nodeOf,
                       .image = disk.number(),
                       .firmware = _firmware,
                       .root = "/base-system-is-gone",
                       .place = kPlace});
}

}  // namespace marrow::rehearsal
