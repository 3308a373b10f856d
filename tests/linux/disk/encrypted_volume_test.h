// A test with an encrypted data volume.
#pragma once

#include "tests/linux/disk/linux_disk_test.h"
#include "tests/linux/disk/test_key.h"
#include "tests/linux/firmware/luks_image.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <optional>
#include <string>

namespace marrow {

class EncryptedVolumeTest : public LinuxDiskTest {
 protected:
  // The passphrase as systemd leaves it with the kernel.
  void leaveKey(const std::string& payload) { key.emplace("cryptsetup", payload); }

  // The error of a mount that fails; nothing may be left of it.
  ErrorRef failToMount() {
    ErrorRef error;
    EXPECT_FALSE(volume(name)->mountAtTemporaryPath({}, &error));
    EXPECT_TRUE(std::filesystem::is_empty(folder.at("run/marrow/mnt")));
    EXPECT_FALSE(isOpen());
    return error;
  }

  bool isOpen() const {
    return !std::filesystem::is_empty("/sys/class/block/" + name + "/holders") ||
           std::filesystem::exists("/dev/mapper/marrow-" + name);
  }

  std::string group = randomUUID();
  LoopDisk disk{{{kDataType, group, "", 32}}};
  std::string name = disk.partition(1);
  std::string node = disk.partitionNode(1);
  LuksImage header{node};
  std::optional<TestKey> key;
};

}  // namespace marrow
