// How often a disk's partition table is read, which is the same on every machine.
#include "benchmarks/node_reads.h"
#include "benchmarks/system_calls.h"
#include "tests/linux/disk/linux_disk_test.h"

#include <functional>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>

namespace marrow {

namespace {

// Device nodes of the test's own: other programs look at every disk of the machine, but by the
// nodes below /dev.
class OwnNodes {
 public:
  explicit OwnNodes(std::string folder) : _folder(std::move(folder)) {
    EXPECT_EQ(::mount("tmpfs", _folder.c_str(), "tmpfs", 0, nullptr), 0);
  }
  ~OwnNodes() { EXPECT_EQ(::umount(_folder.c_str()), 0); }
  OwnNodes(const OwnNodes&) = delete;
  OwnNodes& operator=(const OwnNodes&) = delete;

  std::string add(const std::string& name) const {
    struct stat status {};
    EXPECT_EQ(::stat(("/dev/" + name).c_str(), &status), 0);
    std::string node = _folder + "/" + name;
    EXPECT_EQ(::mknod(node.c_str(), S_IFBLK | 0600, status.st_rdev), 0);
    return node;
  }

 private:
  std::string _folder;
};

class TableReads : public LinuxDiskTest {
 protected:
  LinuxDiskRoots roots() {
    auto roots = rootsIn(folder);
    roots.dev = folder.at("dev");
    return roots;
  }

  int readsOf(const std::function<void()>& question) {
    reads.take();
    question();
    return reads.take();
  }

  std::shared_ptr<DVStaticLoamContainer> container() {
    const auto media = shown.media().mediaForBSDName(disk.name());
    return media ? media->asContainer() : nullptr;
  }

  std::shared_ptr<DVStaticLoamVolume> volume(const std::string& name) {
    const auto media = shown.media().mediaForBSDName(name);
    return media ? media->asVolume() : nullptr;
  }

  const std::string group = randomUUID();
  const LoopDisk disk{{{kSystemType, group, "", 1},
                       {kSystemType, randomUUID(), "", 1},
                       {kDataType, group, "", 1},
                       {kPrebootType, "preboot", "", 1},
                       {kUpdateType, "update", "ext4"}}};
  const OwnNodes nodes{folder.makeFolder("dev")};
  LinuxDisks shown{log, roots()};
  NodeReads reads{nodes.add(disk.name())};
};

TEST_F(TableReads, AreOneForEachQuestionAboutAContainer) {
  const auto asked = container();
  ASSERT_NE(asked, nullptr);
  EXPECT_EQ(readsOf([&] { container(); }), 1);
  EXPECT_EQ(readsOf([&] { EXPECT_EQ(asked->volumes().size(), 5U); }), 1);
  EXPECT_EQ(readsOf([&] { EXPECT_EQ(asked->volumesWithRole(kSystemVolumeRole).size(), 2U); }), 1);
  EXPECT_EQ(readsOf([&] { EXPECT_NE(asked->updateVolume(), nullptr); }), 1);
}

TEST_F(TableReads, AreOneForEachQuestionAboutAVolumesPlaceInTheTable) {
  const auto asked = volume(disk.partition(3));
  ASSERT_NE(asked, nullptr);
  EXPECT_EQ(readsOf([&] { volume(disk.partition(3)); }), 1);
  EXPECT_EQ(readsOf([&] { EXPECT_EQ(asked->volumeGroupUUID(), group); }), 1);
  EXPECT_EQ(readsOf([&] { EXPECT_NE(asked->container(), nullptr); }), 1);
}

TEST_F(TableReads, AreNoneForWhereAVolumeIsMounted) {
  nodes.add(disk.partition(5));
  const auto asked = volume(disk.partition(5));
  ASSERT_NE(asked, nullptr);
  ASSERT_EQ(tryMount(disk.partitionNode(5)), 0);
  EXPECT_EQ(readsOf([&] { EXPECT_EQ(asked->mountPoint(), place); }), 0);
  EXPECT_EQ(readsOf([&] { EXPECT_TRUE(asked->isMounted()); }), 0);
  EXPECT_EQ(readsOf([&] { EXPECT_TRUE(asked->unmount(kAll, nullptr)); }), 0);
}

TEST_F(TableReads, AreOneForTheSearchOfAGroup) {
  PropertyListDictionary properties;
  properties.set("VolGroupUUID", group);
  auto& registry = shown.deviceRegistry();
  const auto search = [&] {
    const RegistryEntry found(registry,
                              registry.firstMatchingService({"CorvaneLoamVolume", properties}));
    EXPECT_TRUE(found);
  };
  EXPECT_EQ(readsOf(search), 1);
}

// Every volume of a disk is asked about in turn.
TEST_F(TableReads, AboutAVolumeOpenNoMoreFilesWhereTheDiskHasMore) {
  const LoopDisk large(std::vector<LoopPartition>(40, {kSystemType, group, "", 1}));
  nodes.add(large.name());
  const auto filesFor = [this](const std::string& partition) {
    const auto asked = volume(partition);
    return systemCallsOf([&] { asked->container(); })[SYS_openat];
  };
  const auto files = filesFor(disk.partition(3));
  EXPECT_GT(files, 0U);
  EXPECT_EQ(filesFor(large.partition(3)), files);
}

}  // namespace

}  // namespace marrow
