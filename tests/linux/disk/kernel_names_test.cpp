#include "host/linux/linux_device_names.h"
#include "tests/linux/disk/linux_disk_test.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace marrow {

namespace {

namespace fs = std::filesystem;

// A loop disk under the names of an NVMe drive: sysfs and the nodes are the test's, what stands
// behind them is real.
class DiskOfAnotherName : public LinuxDiskTest {
 protected:
  DiskOfAnotherName() {
    std::ofstream(folder.makeFolder("sys/devices/pci/nvme/nvme0") + "/uevent");
    show("nvme0n1", disk.node(), "");
    for (unsigned number = 1; number <= 3; ++number) {
      const auto text = std::to_string(number);
      show("nvme0n1/nvme0n1p" + text, disk.partitionNode(number), text);
    }
  }

  LinuxDiskRoots roots() {
    auto roots = rootsIn(folder);
    roots.sysfs = folder.makeFolder("sys");
    roots.dev = folder.makeFolder("dev");
    return roots;
  }

  // The device at this node, under this path below its disk's parent.
  std::string show(const std::string& path, const std::string& node, const std::string& number) {
    const auto directory = folder.makeFolder("sys/devices/pci/nvme/nvme0/" + path);
    const auto name = fs::path(path).filename().native();
    struct stat status {};
    EXPECT_EQ(::stat(node.c_str(), &status), 0);
    const auto device =
        std::to_string(major(status.st_rdev)) + ":" + std::to_string(minor(status.st_rdev));
    std::ofstream(directory + "/dev") << device << "\n";
    std::ofstream(directory + "/size") << "16384\n";
    std::ofstream(directory + "/uevent") << "\n";
    if (number.empty()) {
      std::ofstream(directory + "/diskseq") << "7\n";
      fs::create_directory_symlink(directory, folder.makeFolder("sys/block") + "/" + name);
    } else {
      std::ofstream(directory + "/partition") << number << "\n";
    }
    fs::create_directory_symlink(directory, folder.makeFolder("sys/class/block") + "/" + name);
    fs::create_directory_symlink(directory, folder.makeFolder("sys/dev/block") + "/" + device);
    fs::create_symlink(node, folder.makeFolder("dev") + "/" + name);
    return directory;
  }

  // As the device mapper shows a device of its own on another one.
  void showMapped(const std::string& name, const std::string& node, const std::string& slave) {
    const auto directory = show(name, node, "");
    const auto below = fs::canonical(folder.at("sys/class/block/" + slave));
    fs::create_directories(directory + "/slaves");
    fs::create_directory_symlink(below, directory + "/slaves/" + slave);
    fs::create_directories(below / "holders");
    fs::create_directory_symlink(directory, below / "holders" / name);
  }

  RegistryEntry firstVolumeOf(const std::string& wanted) {
    PropertyListDictionary properties;
    properties.set("VolGroupUUID", wanted);
    return {shown.deviceRegistry(),
            shown.deviceRegistry().firstMatchingService({"CorvaneLoamVolume", properties})};
  }

  std::shared_ptr<DVStaticLoamVolume> shownVolume(const std::string& name) {
    const auto media = shown.media().mediaForBSDName(name);
    return media ? media->asVolume() : nullptr;
  }

  std::string nameOf(const RegistryEntry& entry) {
    const auto name = shown.deviceRegistry().property(entry.handle(), "BSD Name");
    const auto* text = name ? name->as<std::string>() : nullptr;
    return text != nullptr ? *text : std::string();
  }

  std::unique_ptr<DASession> refuseShown() {
    auto session = makeRefusingSession(shown, {"nvme0n1"});
    session->setQueue(queue);
    return session;
  }

  std::string group = randomUUID();
  LoopDisk disk{{{kUpdateType, "update"}, {kLinuxDataType, "x"}, {kDataType, group, "ext4"}}};
  LinuxDisks shown{log, roots()};
};

TEST_F(DiskOfAnotherName, IsFoundByItsGroupWithVolumeDiskAndController) {
  const auto entry = firstVolumeOf(group);
  ASSERT_TRUE(entry);
  EXPECT_EQ(nameOf(entry), "nvme0n1p3");
  auto& registry = shown.deviceRegistry();
  const RegistryEntry above(registry, registry.parent(entry.handle(), "IOService"));
  EXPECT_EQ(nameOf(above), "nvme0n1");
  EXPECT_TRUE(registry.conformsTo(above.handle(), "CorvaneLoamMedia"));
  const RegistryEntry controller(registry, registry.parent(above.handle(), "IOService"));
  EXPECT_TRUE(controller);
  EXPECT_FALSE(registry.conformsTo(controller.handle(), "CorvaneLoamMedia"));
}

TEST_F(DiskOfAnotherName, HasItsVolumesUnderTheirNodes) {
  const auto data = shownVolume("nvme0n1p3");
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(data->deviceNode(), folder.at("dev/nvme0n1p3"));
  EXPECT_EQ(data->volumeGroupUUID(), group);
  EXPECT_EQ(data->container()->volumes().size(), 2U);
  EXPECT_EQ(shownVolume("nvme0n1p2"), nullptr);
  struct stat status {};
  ASSERT_EQ(::stat(disk.partitionNode(3).c_str(), &status), 0);
  EXPECT_EQ(shown.deviceNames().characterDeviceName(status.st_rdev), "nvme0n1p3");
}

TEST_F(DiskOfAnotherName, IsClaimedMountedAndUnmounted) {
  const auto session = refuseShown();
  EXPECT_EQ(tryMount(disk.partitionNode(3)), EBUSY);
  EXPECT_EQ(openExclusively(disk.partitionNode(1)), EBUSY);
  EXPECT_EQ(openExclusively(disk.partitionNode(2)), 0);
  const auto data = shownVolume("nvme0n1p3");
  ErrorRef error;
  const auto path = data->mountAtTemporaryPath({}, &error);
  ASSERT_TRUE(path) << error->description();
  EXPECT_TRUE(fs::path(*path).filename().native().starts_with("nvme0n1p3-"));
  EXPECT_EQ(data->mountPoint(), path);
  EXPECT_TRUE(data->unmount(kForceAll, &error)) << error->description();
  EXPECT_EQ(tryMount(disk.partitionNode(3)), EBUSY);
}

TEST_F(DiskOfAnotherName, HasItsMappedDevicesClaimedToo) {
  const LoopDisk mapped({});
  showMapped("dm-0", mapped.node(), "nvme0n1p3");
  const LoopDisk mappedAgain({});
  showMapped("dm-1", mappedAgain.node(), "dm-0");
  auto session = refuseShown();
  EXPECT_EQ(openExclusively(mapped.node()), EBUSY);
  EXPECT_EQ(openExclusively(mappedAgain.node()), EBUSY);
  session.reset();
  EXPECT_EQ(openExclusively(mapped.node()), 0);
}

TEST_F(DiskOfAnotherName, HasNoContainerOnAMappedDevice) {
  const LoopDisk mapped({{kDataType, group}});
  showMapped("dm-0", mapped.node(), "nvme0n1p2");
  const auto media = shown.media().mediaForBSDName("dm-0");
  EXPECT_TRUE(!media || !media->asContainer());
  EXPECT_EQ(nameOf(firstVolumeOf(group)), "nvme0n1p3");
  EXPECT_FALSE(log.has("several disks"));
}

TEST_F(DiskOfAnotherName, IsNamedWithTheMappedDeviceThatHoldsIt) {
  const LoopDisk mapped({});
  showMapped("dm-0", mapped.node(), "nvme0n1p3");
  const ChildProcess user(
      [&] { return ::open(disk.partitionNode(3).c_str(), O_RDONLY | O_EXCL) >= 0; });
  ErrorRef error;
  EXPECT_FALSE(shownVolume("nvme0n1p3")->unmount(kAll, &error));
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), EBUSY);
  EXPECT_NE(error->description().find("dm-0"), std::string::npos) << error->description();
}

}  // namespace

}  // namespace marrow
