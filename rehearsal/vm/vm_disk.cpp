#include "rehearsal/vm/vm_disk.h"

#include "rehearsal/disk_content.h"
#include "rehearsal/files.h"
#include "rehearsal/interruption.h"
#include "rehearsal/vm/boot_entries.h"
#include "rehearsal/vm/boot_splash.h"
#include "rehearsal/vm/data_key.h"
#include "rehearsal/vm/disk_image.h"
#include "rehearsal/vm/intruder.h"
#include "rehearsal/vm/lock_watch.h"
#include "rehearsal/vm/observer.h"
#include "rehearsal/vm/scratch_folder.h"

#include <algorithm>
#include <array>

namespace marrow::rehearsal {
namespace {

constexpr std::uint64_t kMebibyte = 1U << 20U;
// A FAT32 has 65,525 clusters at least.
constexpr std::uint64_t kSmallestFat = 40 * kMebibyte;
constexpr std::uint64_t kRoomOnFat = 12 * kMebibyte;

void putPart(const std::filesystem::path& part, const std::filesystem::path& root,
             const char* place) {
  std::filesystem::create_directories((root / place).parent_path());
  std::filesystem::copy_file(part, root / place);
}

void installScenario(const std::filesystem::path& root, const BootDisk& disk,
                     const Scenario& scenario, BaseSystem& system) {
  if (scenario.encryptedData) {
    installDataKey(root);
  }
  if (scenario.bootSplash) {
    installBootSplash(root);
  }
  if (scenario.systemBus) {
    installLockWatch(root);
  }
  if (const auto data = disk.partitionOf(partition_type::kData); scenario.mountsTried && data) {
    system.beforeMigrator = installIntruder(root, "/dev/vda" + std::to_string(*data));
  }
}

std::string baseAddition(const BootDisk& disk, const VmDiskContent& content) {
  const ScratchFolder folder;
  BaseSystem system = content.baseSystem;
  system.root = folder.path();
  installScenario(folder.path(), disk, content.scenario, system);
  installMigrator(system);
  if (system.internalBuild) {
    writeFile(folder.path() / "etc/os-release", "ID=marrow\nRELEASE_TYPE=development\n");
  }
  if (content.observed) {
    installObserver(folder.path());
  }
  return archiveOf(folder.path());
}

void fillEfiSystem(const std::filesystem::path& root, const BootDisk& disk,
                   const VmDiskContent& content) {
  putPart(content.parts.loader, root, efi_path::kLoader);
  putPart(content.parts.kernel, root, efi_path::kKernel);
  putPart(content.parts.baseSystem, root, efi_path::kBaseSystem);
  putPart(content.parts.agentSystem, root, efi_path::kAgentSystem);
  writeFile(root / efi_path::kBaseAddition, baseAddition(disk, content));
  writeFile(root / efi_path::kAgentPlan, planArchive(content.plan));
  for (const LoaderFile& file : loaderFiles(disk, content.scenario, content.baseSystemWords)) {
    writeFile(root / file.path, file.content);
  }
}

void makeVolume(const std::filesystem::path& image, const Partition& partition,
                const BootDisk& disk, const VmDiskContent& content, Interruption& interruption) {
  const ScratchFolder folder;
  if (partition.type == partition_type::kEfiSystem) {
    fillEfiSystem(folder.path(), disk, content);
    makeFat(image, partition, folder.path());
    return;
  }
  installContent(folder.path(), partition, disk, content.plan.treeSize, interruption);
  makeExt4(image, partition, folder.path());
}

}  // namespace

std::string planArchive(const GuestPlan& plan) {
  const ScratchFolder folder;
  writeFile(folder.path() / kGuestPlanFile, jsonOf(plan));
  return archiveOf(folder.path());
}

BootDisk planVmDisk(const VmParts& parts, const TreeSize& size) {
  std::uint64_t bytes = kRoomOnFat;
  for (const auto& part : {parts.kernel, parts.baseSystem, parts.agentSystem, parts.loader}) {
    bytes += std::filesystem::file_size(part);
  }
  return planDisk(FileSystem::kExt4, size, std::max(bytes, kSmallestFat));
}

void makeVmDisk(const std::filesystem::path& image, BootDisk& disk, const VmDiskContent& content,
                Interruption& interruption) {
  std::filesystem::resize_file(image, placePartitions(disk.partitions));
  writePartitionTable(image, disk.partitions);
  for (const Partition& partition : disk.partitions) {
    interruption.check();
    makeVolume(image, partition, disk, content, interruption);
  }
}

}  // namespace marrow::rehearsal
