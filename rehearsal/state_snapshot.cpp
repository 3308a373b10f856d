#include "rehearsal/state_snapshot.h"

#include "rehearsal/base_system.h"
#include "rehearsal/cookie.h"
#include "rehearsal/digest.h"
#include "rehearsal/files.h"
#include "rehearsal/luks_header.h"
#include "rehearsal/problem.h"
#include "rehearsal/shadow_file.h"

#include <algorithm>
#include <fcntl.h>
#include <unistd.h>

namespace marrow::rehearsal {
namespace {

constexpr const char* kImage = "usr/standalone/firmware/arm64eBaseSystem.dmg";
constexpr std::size_t kLongestText = 60;

std::string orNothing(const std::optional<std::string>& text) { return text.value_or(kNothing); }

std::string digestOrNothing(const std::optional<std::string>& bytes) {
  return bytes ? shortDigest(*bytes) : kNothing;
}

std::string shortened(std::string text) {
  std::ranges::replace(text, '\n', ' ');
  return text.size() <= kLongestText ? text : text.substr(0, kLongestText) + "...";
}

std::string firstLine(const std::optional<std::string>& text) {
  return text ? shortened(text->substr(0, text->find('\n'))) : kNothing;
}

void lookAtFirmware(Snapshot& snapshot, const FirmwareStore& firmware) {
  snapshot["firmware.nonce"] = digestOrNothing(firmware.get("marrow-nonce"));
  snapshot["firmware.proposed"] = digestOrNothing(firmware.get("marrow-nonce-proposed"));
  snapshot["firmware.default"] = orNothing(firmware.loader("LoaderEntryDefault"));
  snapshot["firmware.one-shot"] = orNothing(firmware.loader("LoaderEntryOneShot"));
  snapshot["firmware.metrics"] = orNothing(firmware.get("OTA-migrator-metrics"));
  snapshot["firmware.dark-boot"] = orNothing(firmware.get("marrow-dark-boot"));
  snapshot["firmware.mute"] = orNothing(firmware.get("marrow-mute-boot-chime"));
  std::string armed;
  for (const char* name : {"step", "command", "repeat"}) {
    if (const auto value = firmware.get(std::string("postota-sim-") + name)) {
      armed += (armed.empty() ? "" : " ") + *value;
    }
  }
  snapshot["firmware.simulation"] = armed.empty() ? kNothing : armed;
}

// The folders of the preboot volume that belong to other groups.
std::string foreignFolders(const std::filesystem::path& root, const std::string& group) {
  std::vector<std::string> found;
  for (const auto& entry : std::filesystem::directory_iterator(root)) {
    const std::string name = entry.path().filename();
    if (name != group && name != "lost+found") {
      found.push_back(name + treeDigest(entry.path()).value_or(""));
    }
  }
  std::ranges::sort(found);
  Digest digest;
  for (const std::string& one : found) {
    digest.add(one);
  }
  return hexadecimal(digest.finish()).substr(0, 10);
}

void lookAtPreboot(Snapshot& snapshot, const std::filesystem::path& root, const BootDisk& disk) {
  const auto group = root / disk.group;
  snapshot["preboot.sealed"] = orNothing(treeDigest(group / "morrel1/current"));
  snapshot["preboot.sealed-staged"] = orNothing(treeDigest(group / "morrel1/proposed"));
  snapshot["preboot.restore"] = orNothing(treeDigest(group / "restore"));
  snapshot["preboot.restore-staged"] = orNothing(treeDigest(group / "restore-staged"));
  snapshot["preboot.downlevel"] = orNothing(treeDigest(group / "downlevel"));
  const auto boot = (root / disk.bootObjectsPath).parent_path();
  snapshot["preboot.active"] =
      std::filesystem::is_directory(boot) ? firstLine(readFile(boot / "active")) : kNoFolder;
  snapshot["preboot.foreign"] = foreignFolders(root, disk.group);
  snapshot["preboot.cookie"] = describeCookie(cookieFile(root, disk.group));
}

void lookAtRecovery(Snapshot& snapshot, const std::filesystem::path& root, const BootDisk& disk) {
  const std::string group = root / disk.group / kImage;
  const std::string boot = root / disk.bootObjectsPath / kImage;
  snapshot["recovery.group"] = orNothing(treeDigest(group));
  snapshot["recovery.group-staged"] = orNothing(treeDigest(group + ".staged"));
  snapshot["recovery.boot"] = orNothing(treeDigest(boot));
  snapshot["recovery.boot-staged"] = orNothing(treeDigest(boot + ".staged"));
}

void lookAtUpdate(Snapshot& snapshot, const std::filesystem::path& root, const BootDisk& /*disk*/) {
  const ShadowFile shadow = readShadowFile(root / "nvram.plist");
  snapshot["update.metrics"] = orNothing(shadow.metrics);
  snapshot["update.metrics-inner"] =
      shadow.hasInner ? orNothing(shadow.innerMetrics) : kNoDictionary;
  snapshot["update.rest"] = digestOrNothing(shadow.everythingElse);
  snapshot["update.log"] = firstLine(readFile(root / "loam_migrator.log"));
}

void lookAtBase(Snapshot& snapshot, const std::filesystem::path& root) {
  snapshot["base.log"] = firstLine(readFile(root / machine_path::kMigratorLog));
  snapshot["base.metrics"] = firstLine(readFile(root / machine_path::kMigratorMetrics));
}

using Look = void (*)(Snapshot&, const std::filesystem::path&, const BootDisk&);

struct RoleLook {
  std::string_view type;
  const char* prefix;
  Look look;
};

void lookAtVolume(Snapshot& snapshot, const SnapshotSources& sources, const RoleLook& role) {
  if (const std::optional<int> number = sources.disk.partitionOf(role.type)) {
    const MountedVolume volume(sources.node(*number), sources.place,
                               MountedVolume::Access::kReadOnly);
    role.look(snapshot, volume.path(), sources.disk);
    return;
  }
  for (const Item& item : items()) {
    if (std::string_view(item.key).starts_with(role.prefix)) {
      snapshot[item.key] = kNoVolume;
    }
  }
}

std::optional<LuksHeader> luksHeaderOf(const SnapshotSources& sources, const Partition& partition) {
  std::string start(kLuksHeaderArea, '\0');
  checked(::pread(sources.image, start.data(), start.size(), static_cast<off_t>(partition.start)),
          "read the data volume");
  return readLuksHeader(start);
}

// Every byte of the partition, behind the header of an encrypted one; of xfs every file, because
// the kernel writes the log of an xfs that is mounted read-only too, which is what the daemon does
// to the data volume.
std::string volumeDigest(const SnapshotSources& sources, const Partition& partition) {
  const auto node = sources.node(partition.number);
  if (const auto header = luksHeaderOf(sources, partition)) {
    return rangeDigest(sources.image, partition.start + header->dataOffset,
                       partition.size - header->dataOffset);
  }
  if (fileSystemOn(node) != nameOf(FileSystem::kXfs)) {
    return rangeDigest(sources.image, partition.start, partition.size);
  }
  const MountedVolume volume(node, sources.place, MountedVolume::Access::kReadOnly);
  return orNothing(treeDigest(volume.path()));
}

// The volumes that nobody has to write to.
void lookAtWholeVolumes(Snapshot& snapshot, const SnapshotSources& sources) {
  const std::optional<int> system = sources.disk.partitionOf(partition_type::kSystem);
  const std::optional<int> data = sources.disk.partitionOf(partition_type::kData);
  std::string others;
  for (const Partition& partition : sources.disk.partitions) {
    const auto rawDigest = [&] {
      return rangeDigest(sources.image, partition.start, partition.size);
    };
    if (partition.number == data) {
      const auto header = luksHeaderOf(sources, partition);
      snapshot["disk.data"] = volumeDigest(sources, partition);
      snapshot["disk.stash"] = header ? header->stashState : kNothing;
    } else if (partition.number == system) {
      snapshot["disk.system"] = rawDigest();
    } else if (partition.type != partition_type::kPreboot &&
               partition.type != partition_type::kRecovery &&
               partition.type != partition_type::kUpdate) {
      others += rawDigest();
    }
  }
  snapshot["disk.others"] = shortDigest(others);
  snapshot.emplace("disk.data", kNoVolume);
  snapshot.emplace("disk.stash", kNoVolume);
  snapshot.emplace("disk.system", kNoVolume);
  snapshot["disk.table"] = rangeDigest(sources.image, 0, 1U << 20U);
}

}  // namespace

const std::vector<Item>& items() {
  static const std::vector<Item> kItems{{"firmware.nonce", "nonce in force"},
                                        {"firmware.proposed", "nonce proposed"},
                                        {"preboot.sealed", "morrel1/current"},
                                        {"preboot.sealed-staged", "morrel1/proposed"},
                                        {"preboot.restore", "restore"},
                                        {"preboot.restore-staged", "restore-staged"},
                                        {"preboot.downlevel", "downlevel"},
                                        {"preboot.active", "boot/active"},
                                        {"preboot.cookie", "template-migration cookie"},
                                        {"preboot.foreign", "preboot of other groups"},
                                        {"recovery.group", "recovery image, group"},
                                        {"recovery.group-staged", "  staged"},
                                        {"recovery.boot", "recovery image, boot objects"},
                                        {"recovery.boot-staged", "  staged"},
                                        {"firmware.default", "LoaderEntryDefault"},
                                        {"firmware.one-shot", "LoaderEntryOneShot"},
                                        {"firmware.metrics", "OTA-migrator-metrics"},
                                        {"update.metrics", "  in nvram.plist"},
                                        {"update.metrics-inner", "  in brask-file-only-vars"},
                                        {"update.rest", "nvram.plist, all else"},
                                        {"update.log", "migrator log, update volume"},
                                        {"base.log", "migrator log, base system"},
                                        {"base.metrics", "migrator metrics, base system"},
                                        {"firmware.dark-boot", "marrow-dark-boot"},
                                        {"firmware.mute", "marrow-mute-boot-chime"},
                                        {"firmware.simulation", "simulation variables"},
                                        {"disk.data", "data volume"},
                                        {"disk.stash", "  its stashed key"},
                                        {"disk.system", "system volume, every byte"},
                                        {"disk.others", "all other volumes, every byte"},
                                        {"disk.table", "partition table"}};
  return kItems;
}

Snapshot takeSnapshot(const SnapshotSources& sources) {
  Snapshot snapshot;
  lookAtFirmware(snapshot, sources.firmware);
  lookAtBase(snapshot, sources.root);
  lookAtVolume(snapshot, sources, {partition_type::kPreboot, "preboot.", &lookAtPreboot});
  lookAtVolume(snapshot, sources, {partition_type::kRecovery, "recovery.", &lookAtRecovery});
  lookAtVolume(snapshot, sources, {partition_type::kUpdate, "update.", &lookAtUpdate});
  checked(::fsync(sources.image), "write the disk");
  lookAtWholeVolumes(snapshot, sources);
  return snapshot;
}

}  // namespace marrow::rehearsal
