#include "rehearsal/boot_disk.h"
#include "rehearsal/files.h"
#include "rehearsal/interruption.h"

#include <algorithm>

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

void fillPreboot(const std::filesystem::path& root, const BootDisk& disk, const TreeSize& size,
                 Interruption& interruption) {
  const auto group = root / disk.group;
  std::uint64_t seed = 1;
  for (const char* tree :
       {"morrel1/current", "morrel1/proposed", "restore", "restore-staged", "downlevel"}) {
    makeTree(group / tree, size, seed++, interruption);
  }
  writeFile(group / "boot/active", "the-boot-objects-before");
  writeFile(group / "boot/the-boot-objects-before/kernel", "the kernel before\n");
  writeFile(root / disk.bootObjectsPath / "kernel", "the new kernel\n");
  writeFile(root / "another-group/boot/active", "not to be touched");
}

void fillRecovery(const std::filesystem::path& root, const BootDisk& disk, const TreeSize& size) {
  std::uint64_t seed = 100;
  for (const std::string& folder : {disk.group, disk.bootObjectsPath}) {
    const std::string image = root / folder / kImage;
    makeObject(image, size.bytes, seed++);
    makeObject(image + ".staged", size.bytes, seed++);
  }
}

void fillOther(const std::filesystem::path& root, const Partition& partition,
               const BootDisk& disk) {
  writeFile(root / "var/group", partition.name + '\n');
  if (partition.number == disk.partitionOf(partition_type::kData)) {
    makeObject(root / "home/documents", kDataBytes, 200);
  }
}

void fillVolume(const std::filesystem::path& root, const Partition& partition, const BootDisk& disk,
                const TreeSize& size, Interruption& interruption) {
  if (partition.type == partition_type::kPreboot) {
    fillPreboot(root, disk, size, interruption);
  } else if (partition.type == partition_type::kRecovery) {
    fillRecovery(root, disk, size);
  } else if (partition.type == partition_type::kUpdate) {
    writeFile(root / "nvram.plist", kShadowFile);
  } else {
    fillOther(root, partition, disk);
  }
}

}  // namespace

void fillDisk(const BootDisk& disk, const LoopDevice& device, FileSystem kind, const TreeSize& size,
              const std::filesystem::path& place, Interruption& interruption) {
  for (const Partition& partition : disk.partitions) {
    if (partition.type == partition_type::kEfiSystem) {
      continue;
    }
    interruption.check();
    makeFileSystem(kind, device.node(partition.number));
    const MountedVolume volume(device.node(partition.number), place,
                               MountedVolume::Access::kReadWrite);
    fillVolume(volume.path(), partition, disk, size, interruption);
  }
}

}  // namespace marrow::rehearsal
