// The disks of a Linux machine: registry, partition library, arbitration and device names, which
// share one view of the block devices and one table of claims. Building it reads and changes
// nothing; every answer is taken from the kernel when it is asked for. Needs root, Linux 5.15
// (disk sequence numbers) or later, and a /dev that the kernel fills (devtmpfs).
#pragma once

#include "host/device_names.h"
#include "host/device_registry.h"
#include "host/disk_arbitration.h"
#include "host/linux/crypt_library.h"
#include "host/linux/mount_gate.h"
#include "host/log.h"
#include "host/partition_library.h"

#include <memory>
#include <optional>
#include <string>

namespace marrow {

// Where the machine shows itself.
struct LinuxDiskRoots {
  std::string sysfs = "/sys";
  std::string procfs = "/proc";
  std::string dev = "/dev";
  std::string run = "/run";
  std::string efivars = "/sys/firmware/efi/efivars";
  std::string deviceTree = "/sys/firmware/devicetree/base";
  std::string cryptLibrary = kCryptLibrary;
  // The description under which systemd keeps the passphrases that it was told.
  std::string passphraseKey = "cryptsetup";
  MountGatePlaces mountGate = {};
};

class LinuxDisks {
 public:
  // The log, which takes the host's own messages, outlives this object. So must this object outlive
  // every session, media object and registry entry that it hands out.
  explicit LinuxDisks(LogHandle& log, const LinuxDiskRoots& roots = {});
  ~LinuxDisks();
  LinuxDisks(const LinuxDisks&) = delete;
  LinuxDisks& operator=(const LinuxDisks&) = delete;

  DeviceRegistry& deviceRegistry();
  DVStaticMedia& media();
  DiskArbitration& diskArbitration();
  DeviceNames& deviceNames();

  // The node of the data volume of this group, on the disk that counts when several have the group.
  std::optional<std::string> dataVolumeNode(const std::string& group) const;

 private:
  struct Parts;
  std::unique_ptr<Parts> _parts;
};

}  // namespace marrow
