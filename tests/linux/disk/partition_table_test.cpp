#include "tests/linux/disk/linux_disk_test.h"

#include <fcntl.h>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace marrow {

namespace {

constexpr off_t kSector = 512;
constexpr off_t kHeadSectors = 33;  // a GPT's header and its entries

void overwrite(const std::string& node, off_t begin, std::size_t size) {
  const int device = ::open(node.c_str(), O_WRONLY | O_CLOEXEC);
  const std::string garbage(size, 'x');
  EXPECT_EQ(::pwrite(device, garbage.data(), size, begin), static_cast<ssize_t>(size));
  EXPECT_EQ(::fsync(device), 0);
  ::close(device);
}

void damagePrimary(const std::string& node) { overwrite(node, kSector, kHeadSectors * kSector); }

void damageBoth(const std::string& node) {
  damagePrimary(node);
  const int device = ::open(node.c_str(), O_RDONLY | O_CLOEXEC);
  const off_t size = ::lseek(device, 0, SEEK_END);
  ::close(device);
  overwrite(node, size - kHeadSectors * kSector, kHeadSectors * kSector);
}

class PartitionTable : public LinuxDiskTest {
 protected:
  RegistryEntry firstVolumeOf(const std::string& group) {
    PropertyListDictionary properties;
    properties.set("VolGroupUUID", group);
    return {disks.deviceRegistry(),
            disks.deviceRegistry().firstMatchingService({"CorvaneLoamVolume", properties})};
  }
};

TEST_F(PartitionTable, IsReadFromItsBackupWhenTheFirstIsDamaged) {
  const auto group = randomUUID();
  const LoopDisk disk({{kSystemType, group}, {kPrebootType, "preboot"}}, damagePrimary);
  ASSERT_NE(container(disk.name()), nullptr);
  EXPECT_EQ(container(disk.name())->volumes().size(), 2U);
  EXPECT_EQ(volume(disk.partition(1))->volumeGroupUUID(), group);
}

TEST_F(PartitionTable, MakesNoContainerWhenBothAreDamaged) {
  const LoopDisk disk({{kSystemType, randomUUID()}}, damageBoth);
  EXPECT_EQ(container(disk.name()), nullptr);
  EXPECT_EQ(volume(disk.partition(1)), nullptr);
}

TEST_F(PartitionTable, TakesOnlyAUUIDForAGroup) {
  const std::string thirtySix = "zzzzzzzz-zzzz-zzzz-zzzz-zzzzzzzzzzzz";
  const LoopDisk disk({{kSystemType, thirtySix},
                       {kSystemType, randomUUID().substr(0, 35)},
                       {kSystemType, "0123456789abcdef0123456789abcdef0123"},
                       {kPrebootType, randomUUID()}});
  for (unsigned number = 1; number <= 4; ++number) {
    EXPECT_EQ(volume(disk.partition(number))->volumeGroupUUID(), "") << number;
  }
  EXPECT_FALSE(firstVolumeOf(thirtySix));
}

TEST_F(PartitionTable, ReadsANameOfThirtySixCharactersBeyondASCII) {
  std::string name;
  for (int count = 0; count < 36; ++count) {
    name += "\u00fc";
  }
  const auto group = randomUUID();
  const LoopDisk disk({{kSystemType, name}, {kDataType, group}});
  EXPECT_EQ(volume(disk.partition(1))->volumeGroupUUID(), "");
  EXPECT_EQ(volume(disk.partition(2))->volumeGroupUUID(), group);
}

TEST_F(PartitionTable, MayHold128Partitions) {
  std::vector<LoopPartition> partitions;
  for (int count = 0; count < 127; ++count) {
    partitions.push_back({kLinuxDataType, "other", "", 1});
  }
  const auto group = randomUUID();
  partitions.push_back({kDataType, group, "", 1});
  const LoopDisk disk(partitions);
  ASSERT_EQ(container(disk.name())->volumes().size(), 1U);
  EXPECT_EQ(container(disk.name())->volumes()[0]->deviceNode(), disk.partitionNode(128));
  EXPECT_TRUE(firstVolumeOf(group));
}

TEST_F(PartitionTable, OfADiskOnADiskMakesNoContainer) {
  const auto group = randomUUID();
  const LoopDisk disk({{kSystemType, group}});
  const LoopDevice copy(disk.node());
  EXPECT_EQ(container(copy.name()), nullptr);
  EXPECT_NE(container(disk.name()), nullptr);
}

TEST_F(PartitionTable, OfOtherPartitionsMakesNoContainer) {
  const LoopDisk disk({{kLinuxDataType, randomUUID()}});
  EXPECT_EQ(container(disk.name()), nullptr);
  EXPECT_EQ(volume(disk.partition(1)), nullptr);
}

TEST_F(PartitionTable, CountsOnlyPartitionsThatTheKernelKnows) {
  const LoopDisk disk({{kSystemType, randomUUID()}, {kDataType, randomUUID()}});
  runProgram({"partx", "-d", "--nr", "1", disk.node()});
  const auto volumes = container(disk.name())->volumes();
  ASSERT_EQ(volumes.size(), 1U);
  EXPECT_EQ(volumes[0]->deviceNode(), disk.partitionNode(2));
}

TEST_F(PartitionTable, WarnsWhenSeveralDisksHoldTheGroup) {
  const auto group = randomUUID();
  const LoopDisk first({{kSystemType, group}, {kDataType, group}});
  EXPECT_TRUE(firstVolumeOf(group));
  EXPECT_FALSE(log.has("several disks"));
  const LoopDisk second({{kSystemType, group}});
  EXPECT_TRUE(firstVolumeOf(group));
  EXPECT_TRUE(log.has("using " + first.name() + ", not using: " + second.name()));
}

TEST_F(PartitionTable, OfADiskThatWentIsNotTakenForTheNextOfItsName) {
  std::shared_ptr<DVStaticLoamContainer> gone;
  std::shared_ptr<DVStaticLoamVolume> goneVolume;
  std::string name;
  {
    const LoopDisk disk({{kSystemType, randomUUID()}});
    name = disk.name();
    gone = container(name);
    goneVolume = volume(disk.partition(1));
  }
  EXPECT_TRUE(gone->volumes().empty());
  EXPECT_EQ(goneVolume->volumeGroupUUID(), "");
  EXPECT_EQ(goneVolume->container(), nullptr);
  EXPECT_FALSE(goneVolume->mediaEntry());
  EXPECT_FALSE(goneVolume->isMounted());
  ErrorRef error;
  EXPECT_FALSE(goneVolume->mountAtTemporaryPath({}, &error));
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), ENODEV);
  EXPECT_TRUE(goneVolume->unmount({}, nullptr));
}

TEST_F(PartitionTable, IsSeenThroughALinkToTheNode) {
  const LoopDisk disk({{kSystemType, randomUUID()}});
  ASSERT_EQ(::symlink(disk.node().c_str(), folder.at("link").c_str()), 0);
  ASSERT_NE(container(folder.at("link")), nullptr);
  EXPECT_EQ(container(folder.at("link"))->description(), disk.node());
}

}  // namespace

}  // namespace marrow
