#include "host/linux/block_devices.h"

#include "benchmarks/system_calls.h"
#include "host/linux/linux_device_names.h"
#include "tests/linux/disk/linux_disk_test.h"

#include <filesystem>
#include <fstream>
#include <sys/syscall.h>
#include <sys/sysmacros.h>

namespace marrow {

namespace {

namespace fs = std::filesystem;

struct ShownDisk {
  std::string name;
  unsigned minor = 0;
  std::string sequence;
  std::string removable;
};

// Devices as sysfs shows them, for what loop devices cannot be.
class ShownBlockDevices : public LinuxDiskTest {
 protected:
  std::string show(const ShownDisk& disk) {
    const auto directory = "sys/devices/pci/port/block/" + disk.name;
    put(directory, {{"dev", "8:" + std::to_string(disk.minor) + "\n"},
                    {"diskseq", disk.sequence + "\n"},
                    {"removable", disk.removable + "\n"},
                    {"size", "2048\n"}});
    fs::create_directory_symlink(folder.at(directory),
                                 folder.makeFolder("sys/block") + "/" + disk.name);
    return directory;
  }

  void showPartition(const std::string& directory, const std::string& name, unsigned minor,
                     const std::string& number) {
    put(directory + "/" + name, {{"dev", "8:" + std::to_string(minor) + "\n"},
                                 {"partition", number + "\n"},
                                 {"size", "1024\n"}});
  }

  void put(const std::string& directory,
           const std::vector<std::pair<std::string, std::string>>& files) {
    const auto path = folder.makeFolder(directory);
    for (const auto& [name, text] : files) {
      std::ofstream(path + "/" + name) << text;
    }
    const auto name = fs::path(path).filename().native();
    std::string number = files.front().second;
    number.pop_back();
    fs::create_directory_symlink(path, folder.makeFolder("sys/class/block") + "/" + name);
    fs::create_directory_symlink(path, folder.makeFolder("sys/dev/block") + "/" + number);
  }

  std::vector<std::string> names(const std::vector<BlockDevice>& listed) {
    std::vector<std::string> found;
    for (const auto& device : listed) {
      found.push_back(device.name);
    }
    return found;
  }

  BlockDevices devices{folder.at("sys"), "/dev"};
};

TEST_F(ShownBlockDevices, ComeFixedFirstThenRemovableEachByTheirSequence) {
  show({"sda", 0, "10", "1"});
  show({"sdb", 16, "9", "0"});
  show({"sdc", 32, "2", "0"});
  show({"sdd", 48, "3", "1"});
  EXPECT_EQ(names(devices.disks()), (std::vector<std::string>{"sdc", "sdb", "sdd", "sda"}));
}

TEST_F(ShownBlockDevices, HavePartitionsInTheirOrder) {
  const auto directory = show({"sda", 0, "4", "0"});
  showPartition(directory, "sda10", 10, "10");
  showPartition(directory, "sda2", 2, "2");
  EXPECT_EQ(names(devices.all()), (std::vector<std::string>{"sda", "sda2", "sda10"}));
  EXPECT_EQ(names(devices.partitionsOf("sda")), (std::vector<std::string>{"sda2", "sda10"}));
  const auto partition = devices.find("sda2");
  ASSERT_TRUE(partition);
  EXPECT_EQ(partition->disk, "sda");
  EXPECT_EQ(partition->partition, 2U);
  EXPECT_EQ(partition->sequence, 4U);
  EXPECT_EQ(partition->number, makedev(8, 2));
}

// What the kernel is asked of each of them is the same on every machine.
TEST_F(ShownBlockDevices, AreReadOnceInAListingAndTheirDiskOnceForAllOfThem) {
  constexpr unsigned kPartitions = 20;
  const auto directory = show({"sda", 0, "4", "0"});
  for (unsigned number = 1; number <= kPartitions; ++number) {
    const std::string digits = std::to_string(number);
    showPartition(directory, "sda" + digits, number, digits);
  }
  auto calls = systemCallsOf([this] { devices.partitionsOf("sda"); });
  EXPECT_EQ(calls[SYS_readlink], 1 + kPartitions);
  EXPECT_EQ(calls[SYS_openat],
            1 + 2 + 4 * kPartitions);               // the folder; diskseq, removable; the rest
  EXPECT_EQ(calls[SYS_read], 2 + 3 * kPartitions);  // there is no "start" here
  EXPECT_LE(calls[SYS_newfstatat] + calls[SYS_statx] + calls[SYS_fstat], 1U);
}

TEST_F(ShownBlockDevices, HaveASlashInTheirNodeForAnExclamationMarkInTheirName) {
  const auto directory = show({"cciss!c0d0", 0, "1", "0"});
  showPartition(directory, "cciss!c0d0p1", 1, "1");
  EXPECT_EQ(devices.node(*devices.find("cciss!c0d0p1")), "/dev/cciss/c0d0p1");
  LinuxDeviceNames deviceNames(devices);
  EXPECT_EQ(deviceNames.characterDeviceName(makedev(8, 1)), "cciss/c0d0p1");
}

TEST_F(ShownBlockDevices, AreNotFoundByANameThatLeadsElsewhere) {
  show({"sda", 0, "1", "0"});
  EXPECT_FALSE(devices.find(""));
  EXPECT_FALSE(devices.find(".."));
  EXPECT_FALSE(devices.find("../block/sda"));
  EXPECT_FALSE(devices.find("sdb"));
}

TEST_F(ShownBlockDevices, AreOthersWhenTheirSequenceChanges) {
  const auto directory = show({"sda", 0, "1", "0"});
  const auto before = devices.find("sda");
  ASSERT_TRUE(before);
  EXPECT_TRUE(devices.current(*before));
  std::ofstream(folder.at(directory) + "/diskseq") << "2\n";
  EXPECT_FALSE(devices.current(*before));
}

TEST_F(ShownBlockDevices, AreNoneWhereSysfsIsMissing) {
  EXPECT_TRUE(devices.all().empty());
  EXPECT_FALSE(devices.findNumber(makedev(8, 0)));
}

}  // namespace

}  // namespace marrow
