// How often a disk's partition table is read, which is the same on every machine.
#include "benchmarks/node_reads.h"
#include "tests/linux/disk/linux_disk_test.h"

#include <functional>

namespace marrow {

namespace {

class TableReads : public LinuxDiskTest {
 protected:
  int readsOf(const std::function<void()>& question) {
    reads.take();
    question();
    return reads.take();
  }

  const std::string group = randomUUID();
  const LoopDisk disk{{{kSystemType, group, "", 1},
                       {kSystemType, randomUUID(), "", 1},
                       {kDataType, group, "", 1},
                       {kPrebootType, "preboot", "", 1},
                       {kUpdateType, "update", "ext4"}}};
  NodeReads reads{disk.node()};
};

TEST_F(TableReads, AreOneForEachQuestionAboutAContainer) {
  const auto asked = container(disk.name());
  EXPECT_EQ(readsOf([&] { container(disk.name()); }), 1);
  EXPECT_EQ(readsOf([&] { EXPECT_EQ(asked->volumes().size(), 5U); }), 1);
  EXPECT_EQ(readsOf([&] { EXPECT_EQ(asked->volumesWithRole(kSystemVolumeRole).size(), 2U); }), 1);
  EXPECT_EQ(readsOf([&] { EXPECT_NE(asked->updateVolume(), nullptr); }), 1);
}

TEST_F(TableReads, AreOneForEachQuestionAboutAVolumesPlaceInTheTable) {
  const auto asked = volume(disk.partition(3));
  EXPECT_EQ(readsOf([&] { volume(disk.partition(3)); }), 1);
  EXPECT_EQ(readsOf([&] { EXPECT_EQ(asked->volumeGroupUUID(), group); }), 1);
  EXPECT_EQ(readsOf([&] { EXPECT_NE(asked->container(), nullptr); }), 1);
}

TEST_F(TableReads, AreNoneForWhereAVolumeIsMounted) {
  const auto asked = volume(disk.partition(5));
  ASSERT_EQ(tryMount(disk.partitionNode(5)), 0);
  EXPECT_EQ(readsOf([&] { EXPECT_EQ(asked->mountPoint(), place); }), 0);
  EXPECT_EQ(readsOf([&] { EXPECT_TRUE(asked->isMounted()); }), 0);
  EXPECT_EQ(readsOf([&] { EXPECT_TRUE(asked->unmount(kAll, nullptr)); }), 0);
}

TEST_F(TableReads, AreOneForTheSearchOfAGroup) {
  PropertyListDictionary properties;
  properties.set("VolGroupUUID", group);
  auto& registry = disks.deviceRegistry();
  const auto search = [&] {
    const RegistryEntry found(registry,
                              registry.firstMatchingService({"CorvaneLoamVolume", properties}));
    EXPECT_TRUE(found);
  };
  EXPECT_EQ(readsOf(search), 1);
}

}  // namespace

}  // namespace marrow
