// What an encrypted volume fails with before anything is asked of device mapper.
#include "tests/linux/disk/encrypted_volume_test.h"

#include <cerrno>

namespace marrow {

namespace {

using testing::HasSubstr;

using EncryptedVolumeError = EncryptedVolumeTest;

TEST_F(EncryptedVolumeError, TheHeaderIsDamaged) {
  leaveKey(kLuksPassphrase);
  header.damage(LuksCopy::first);
  header.damage(LuksCopy::second);
  const auto session = refuse({disk.name()});
  const auto error = failToMount();
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), EINVAL);
  EXPECT_THAT(error->description(), HasSubstr("Cannot read the LUKS2 header of " + node));
  EXPECT_EQ(openExclusively(node), EBUSY);
}

TEST_F(EncryptedVolumeError, TheLibraryIsMissing) {
  auto roots = rootsIn(folder);
  roots.cryptLibrary = "libmissing.so.1";
  LinuxDisks without(log, roots);
  ErrorRef error;
  EXPECT_FALSE(without.media().mediaForBSDName(name)->asVolume()->mountAtTemporaryPath({}, &error));
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), ELIBACC);
  EXPECT_THAT(error->description(), HasSubstr("without libmissing.so.1"));
}

TEST_F(EncryptedVolumeError, ItIsNotMountedAndHasNoMountPoint) {
  EXPECT_FALSE(volume(name)->isMounted());
  EXPECT_EQ(volume(name)->mountPoint(), std::nullopt);
  EXPECT_TRUE(volume(name)->unmount(kForceAll, nullptr));
}

TEST_F(EncryptedVolumeError, ItIsTheDataVolumeOfItsGroup) {
  EXPECT_EQ(disks.dataVolumeNode(group), node);
  EXPECT_EQ(disks.dataVolumeNode(randomUUID()), std::nullopt);
  EXPECT_EQ(disks.dataVolumeNode(""), std::nullopt);
}

}  // namespace

}  // namespace marrow
