#include "tests/linux/disk/linux_disk_test.h"

#include <filesystem>
#include <fstream>

namespace marrow {

namespace {

constexpr char kVariable[] = "asmb-lp-lpnh-9274182a-2c1f-4ede-a8dc-3f77fe34eb9b";

class DeviceTreeEntries : public LinuxDiskTest {
 protected:
  void put(const std::string& path, const std::string& bytes) {
    std::ofstream(folder.at(path), std::ios::binary) << bytes;
  }

  // The bytes of the property as text; "(absent)" without one.
  std::string nonceDigest() {
    auto& registry = disks.deviceRegistry();
    const RegistryEntry entry{registry, registry.entryFromPath("IODeviceTree:/chosen/asmb")};
    const auto value = registry.property(entry.handle(), "lp-lpnh");
    const auto* data = value ? value->as<PropertyListData>() : nullptr;
    std::string text;
    for (const std::byte byte : data == nullptr ? PropertyListData() : *data) {
      text += static_cast<char>(byte);
    }
    return data == nullptr ? "(absent)" : text;
  }
};

TEST_F(DeviceTreeEntries, AreDirectoriesWithFilesForProperties) {
  folder.makeFolder("device-tree/chosen/asmb");
  put("device-tree/chosen/asmb/lp-lpnh", std::string("\0\1raw", 5));
  EXPECT_EQ(nonceDigest(), std::string("\0\1raw", 5));
}

TEST_F(DeviceTreeEntries, AreReplacedByTheVariableWhereTheyAreMissing) {
  folder.makeFolder("efivars");
  put(std::string("efivars/") + kVariable, std::string("\7\0\0\0digest", 10));
  EXPECT_EQ(nonceDigest(), "digest");
}

TEST_F(DeviceTreeEntries, GoBeforeTheVariable) {
  folder.makeFolder("device-tree/chosen/asmb");
  folder.makeFolder("efivars");
  put(std::string("efivars/") + kVariable, std::string("\7\0\0\0digest", 10));
  EXPECT_EQ(nonceDigest(), "(absent)");
}

TEST_F(DeviceTreeEntries, AreAbsentWhereThereIsNeither) {
  EXPECT_EQ(disks.deviceRegistry().entryFromPath("IODeviceTree:/chosen/asmb"), kNoRegistryHandle);
  EXPECT_EQ(nonceDigest(), "(absent)");
}

TEST_F(DeviceTreeEntries, HaveNoPropertyInAVariableThatIsCutShort) {
  folder.makeFolder("efivars");
  put(std::string("efivars/") + kVariable, "\7");
  EXPECT_EQ(nonceDigest(), "(absent)");
}

TEST_F(DeviceTreeEntries, CountAsMissingWhereTheyCannotBeReadAndTheLogTells) {
  folder.makeFolder("device-tree/chosen/asmb/lp-lpnh");
  EXPECT_EQ(nonceDigest(), "(absent)");
  EXPECT_TRUE(log.has("device-tree/chosen/asmb/lp-lpnh: Is a directory"));
}

TEST_F(DeviceTreeEntries, CountAsMissingWhereTheVariableCannotBeLookedAtAndTheLogTells) {
  const std::filesystem::path link = folder.makeFolder("efivars") + '/' + kVariable;
  std::filesystem::create_symlink(link, link);
  EXPECT_EQ(nonceDigest(), "(absent)");
  EXPECT_TRUE(log.has(std::string(kVariable) + ": Too many levels of symbolic links"));
}

TEST_F(DeviceTreeEntries, LieInsideTheTree) {
  folder.makeFolder("device-tree");
  folder.makeFolder("outside");
  auto& registry = disks.deviceRegistry();
  EXPECT_EQ(registry.entryFromPath("IODeviceTree:/../outside"), kNoRegistryHandle);
  EXPECT_EQ(registry.entryFromPath("IODeviceTree:chosen"), kNoRegistryHandle);
  EXPECT_EQ(registry.entryFromPath("/chosen/asmb"), kNoRegistryHandle);
}

}  // namespace

}  // namespace marrow
