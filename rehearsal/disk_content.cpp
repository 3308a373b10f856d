#include "rehearsal/disk_content.h"

#include "rehearsal/files.h"
#include "rehearsal/interruption.h"

namespace marrow::rehearsal {
namespace {

constexpr const char* kImage = "usr/standalone/firmware/arm64eBaseSystem.dmg";
constexpr std::uint64_t kDataBytes = std::uint64_t{24} << 20U;

// One entry of each type that a property list knows: whoever rewrites the file has to keep them.
constexpr std::string_view kShadowFile = R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0">
<dict>
	<key>boot-args</key>
	<string>serial=3 &amp; quiet</string>
	<key>boot-count</key>
	<integer>42</integer>
	<key>backlight-level</key>
	<real>0.5</real>
	<key>auto-boot</key>
	<true/>
	<key>safe-mode</key>
	<false/>
	<key>last-update</key>
	<date>2024-05-01T12:30:00Z</date>
	<key>platform-token</key>
	<data>AAECAwQFBgc=</data>
	<key>boot-order</key>
	<array>
		<string>disk</string>
		<integer>-1</integer>
	</array>
	<key>brask-file-only-vars</key>
	<dict>
		<key>kept-in-the-file</key>
		<string>only here</string>
	</dict>
</dict>
</plist>
)";

// Each tree has contents of its own.
enum Seed : std::uint64_t {
  kSealed = 1,
  kSealedStaged,
  kRestore,
  kRestoreStaged,
  kDownlevel,
  kImages = 100,
  kDocuments = 200
};

void installPreboot(const std::filesystem::path& root, const BootDisk& disk, const TreeSize& size,
                    Interruption& interruption) {
  const auto group = root / disk.group;
  makeTree(group / "morrel1/current", size, kSealed, interruption);
  makeTree(group / "restore", size, kRestore, interruption);
  makeTree(group / "downlevel", size, kDownlevel, interruption);
  writeFile(group / "boot/active", "the-boot-objects-before");
  writeFile(group / "boot/the-boot-objects-before/kernel", "the kernel before\n");
  writeFile(root / "another-group/boot/active", "not to be touched");
}

void stageOnPreboot(const std::filesystem::path& root, const BootDisk& disk, const TreeSize& size,
                    Interruption& interruption) {
  const auto group = root / disk.group;
  makeTree(group / "morrel1/proposed", size, kSealedStaged, interruption);
  makeTree(group / "restore-staged", size, kRestoreStaged, interruption);
  writeFile(root / disk.bootObjectsPath / "kernel", "the new kernel\n");
}

// In the folders of the group and of its boot objects.
void makeImages(const std::filesystem::path& root, const BootDisk& disk, std::uint64_t bytes,
                const std::string& suffix, std::uint64_t seed) {
  for (const std::string& folder : {disk.group, disk.bootObjectsPath}) {
    makeObject(root / folder / (kImage + suffix), bytes, seed++);
  }
}

void installOther(const std::filesystem::path& root, const Partition& partition,
                  const BootDisk& disk) {
  writeFile(root / "var/group", partition.name + '\n');
  if (partition.number == disk.partitionOf(partition_type::kData)) {
    makeObject(root / "home/documents", kDataBytes, kDocuments);
  }
}

}  // namespace

void installContent(const std::filesystem::path& root, const Partition& partition,
                    const BootDisk& disk, const TreeSize& size, Interruption& interruption) {
  if (partition.type == partition_type::kPreboot) {
    installPreboot(root, disk, size, interruption);
  } else if (partition.type == partition_type::kRecovery) {
    makeImages(root, disk, size.bytes, "", kImages);
  } else if (partition.type == partition_type::kUpdate) {
    writeFile(root / "nvram.plist", kShadowFile);
  } else {
    installOther(root, partition, disk);
  }
}

void stageUpdate(const std::filesystem::path& root, const Partition& partition,
                 const BootDisk& disk, const TreeSize& size, Interruption& interruption) {
  if (partition.type == partition_type::kPreboot) {
    stageOnPreboot(root, disk, size, interruption);
  } else if (partition.type == partition_type::kRecovery) {
    makeImages(root, disk, size.bytes, ".staged", kImages + 10);
  }
}

}  // namespace marrow::rehearsal
