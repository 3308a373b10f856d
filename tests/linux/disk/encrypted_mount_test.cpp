// Encrypted volumes on a kernel with device mapper.
#include "host/linux/linux_key_store.h"
#include "tests/linux/disk/encrypted_volume_test.h"

#include <cerrno>
#include <fcntl.h>
#include <fstream>
#include <sys/mount.h>
#include <unistd.h>

namespace marrow {

namespace {

using testing::AnyOf;
using testing::HasSubstr;

// NOLINTBEGIN(cert-err58-cpp)
const VolumeOptions kKeepOpen = {{DVLoamVolumeMountOptionReadOnly, true},
                                 {DVLoamVolumeUnmountOptionDoNotLock, true}};
// NOLINTEND(cert-err58-cpp)

class EncryptedMount : public EncryptedVolumeTest {
 protected:
  EncryptedMount() {
    header.makeFileSystem();
    leaveKey(kLuksPassphrase);
  }

  std::string mountVolume(const VolumeOptions& options = {}) {
    ErrorRef error;
    const auto path = volume(name)->mountAtTemporaryPath(options, &error);
    EXPECT_TRUE(path) << (error ? error->description() : "");
    return path.value_or("");
  }

  void unmountVolume(const VolumeOptions& options = {}) {
    ErrorRef error;
    EXPECT_TRUE(volume(name)->unmount(options, &error)) << error->description();
  }

  // What cryptsetup opened, it closes.
  void openAs(const std::string& mapping) { header.open(mapping); }
  static void closeMapping(const std::string& mapping) {
    runProgram({"cryptsetup", "close", mapping});
  }

  std::string mapped = "/dev/mapper/marrow-" + name;
};

TEST_F(EncryptedMount, IsOpenedMountedAndLockedAgain) {
  const auto path = mountVolume();
  EXPECT_TRUE(isOpen());
  EXPECT_EQ(volume(name)->mountPoint(), path);
  EXPECT_THAT(path, HasSubstr("/marrow/mnt/" + name + "-"));
  EXPECT_TRUE(std::ofstream(path + "/file") << "text" << std::flush);
  unmountVolume();
  EXPECT_FALSE(isOpen());
  EXPECT_FALSE(volume(name)->isMounted());
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_TRUE(std::filesystem::exists(mountVolume() + "/file"));
  unmountVolume();
}

TEST_F(EncryptedMount, StaysOpenOverAnUnmountThatMustNotLock) {
  mountVolume(kKeepOpen);
  unmountVolume(kKeepOpen);
  EXPECT_TRUE(isOpen());
  EXPECT_TRUE(volume(name)->isMounted());
  key->remove();
  mountVolume();
  unmountVolume(kKeepOpen);
  EXPECT_TRUE(isOpen());
  unmountVolume(kForceAll);
  EXPECT_FALSE(isOpen());
  EXPECT_FALSE(volume(name)->isMounted());
  EXPECT_EQ(openExclusively(node), 0);
}

TEST_F(EncryptedMount, IsRefusedToOthersWhileItIsOpenAndAfterwards) {
  auto session = refuse({disk.name()});
  EXPECT_EQ(openExclusively(node), EBUSY);
  for (int round = 0; round < 3; ++round) {
    mountVolume(kKeepOpen);
    unmountVolume(kKeepOpen);
    ASSERT_TRUE(isOpen());
    EXPECT_EQ(openExclusively(mapped), EBUSY);
    EXPECT_EQ(tryMount(mapped), EBUSY);
    unmountVolume(kForceAll);
    EXPECT_FALSE(isOpen());
    EXPECT_EQ(openExclusively(node), EBUSY);
  }
  session.reset();
  EXPECT_EQ(openExclusively(node), 0);
}

TEST_F(EncryptedMount, IsReadOnlyWhenAsked) {
  const auto path = mountVolume(kKeepOpen);
  EXPECT_LT(::open((path + "/file").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600), 0);
  EXPECT_EQ(errno, EROFS);
  unmountVolume();
  EXPECT_FALSE(isOpen());
}

TEST_F(EncryptedMount, IsOpenedByALaterOneOfSeveralPassphrases) {
  key->remove();
  leaveKey(std::string("wrong\0", 6) + kLuksPassphrase + std::string(1, '\0'));
  mountVolume();
  unmountVolume();
}

TEST_F(EncryptedMount, IsOpenedByATokenThatNeedsNoPassphrase) {
  key->remove();
  header.addToken(R"({"type":"luks2-keyring","keyslots":["0"],"key_description":"other-name"})");
  const TestKey other("other-name", kLuksPassphrase);
  mountVolume();
  unmountVolume();
  EXPECT_FALSE(isOpen());
}

TEST_F(EncryptedMount, IsTakenFromEverybodyAndLocked) {
  auto session = refuse({disk.name()});
  const auto path = mountVolume();
  ChildProcess user([&] { return ::chdir(path.c_str()) == 0; });
  ASSERT_EQ(::mount(path.c_str(), place.c_str(), nullptr, MS_BIND, nullptr), 0);
  unmountVolume(kForceAll);
  EXPECT_NE(user.endingSignal(), 0);
  EXPECT_TRUE(mountTargets(mapped).empty());
  EXPECT_FALSE(isOpen());
  EXPECT_EQ(openExclusively(node), EBUSY);
  session.reset();
}

TEST_F(EncryptedMount, StaysOpenWhileOthersUseIt) {
  const auto path = mountVolume();
  ASSERT_EQ(::mount(path.c_str(), place.c_str(), nullptr, MS_BIND, nullptr), 0);
  unmountVolume();
  EXPECT_TRUE(isOpen());
  EXPECT_EQ(volume(name)->mountPoint(), place);
  ASSERT_EQ(::umount2(place.c_str(), 0), 0);
  unmountVolume(kForceAll);
  EXPECT_FALSE(isOpen());
}

TEST_F(EncryptedMount, GoesThroughAMappingThatIsThereAndLeavesIt) {
  openAs("marrow-elsewhere");
  key->remove();
  mountVolume();
  unmountVolume();
  EXPECT_TRUE(isOpen());
  ErrorRef error;
  EXPECT_FALSE(volume(name)->unmount(kForceAll, &error));
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), EBUSY);
  EXPECT_THAT(error->description(), HasSubstr("held by dm-"));
  closeMapping("marrow-elsewhere");
  unmountVolume(kForceAll);
}

TEST_F(EncryptedMount, ThatADaemonBeforeUsLeftOpenIsLocked) {
  openAs("marrow-" + name);
  mountVolume();
  unmountVolume();
  EXPECT_FALSE(isOpen());
}

TEST_F(EncryptedMount, IsClaimedWithAMappingThatIsThere) {
  openAs("marrow-elsewhere");
  auto session = refuse({disk.name()});
  EXPECT_EQ(tryMount("/dev/mapper/marrow-elsewhere"), EBUSY);
  mountVolume();
  unmountVolume();
  EXPECT_EQ(tryMount("/dev/mapper/marrow-elsewhere"), EBUSY);
  session.reset();
  closeMapping("marrow-elsewhere");
}

TEST_F(EncryptedMount, FailsWhereAnotherDeviceHasItsName) {
  const LoopDisk other({{kLinuxDataType, "other", "", 32}});
  const LuksImage foreign(other.partitionNode(1));
  foreign.open("marrow-" + name);
  ErrorRef error;
  EXPECT_FALSE(volume(name)->mountAtTemporaryPath({}, &error));
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), EEXIST);
  closeMapping("marrow-" + name);
  mountVolume();
  unmountVolume();
}

TEST_F(EncryptedMount, IsLockedAgainWhereItCannotBeMounted) {
  openAs("marrow-elsewhere");
  runProgram({"dd", "if=/dev/zero", "of=/dev/mapper/marrow-elsewhere", "bs=64K", "count=1",
              "conv=fsync", "status=none"});
  closeMapping("marrow-elsewhere");
  auto session = refuse({disk.name()});
  const auto error = failToMount();
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), EINVAL);
  EXPECT_EQ(openExclusively(node), EBUSY);
  session.reset();
}

TEST_F(EncryptedMount, HasItsStashedKeyCommittedWhileItIsOpen) {
  header.addToken(R"({"type":"marrow-stash","keyslots":["0"],"state":"staged"})");
  auto session = refuse({disk.name()});
  mountVolume();
  LinuxKeyStore store(log, [&] { return disks.dataVolumeNode(group); });
  EXPECT_EQ(store.cks_br_commit_stashed_kek(), 0);
  unmountVolume(kForceAll);
  EXPECT_THAT(header.token(0), HasSubstr(R"("state":"committed")"));
  EXPECT_EQ(store.cks_br_commit_stashed_kek(), 0);
  mountVolume();
  unmountVolume();
  session.reset();
}

using EncryptedKey = EncryptedVolumeTest;

TEST_F(EncryptedKey, ThatIsMissingIsAnError) {
  const auto session = refuse({disk.name()});
  const auto error = failToMount();
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), ENOKEY);
  EXPECT_THAT(error->description(), HasSubstr(node + " is encrypted and cannot be opened"));
  EXPECT_EQ(openExclusively(node), EBUSY);
}

TEST_F(EncryptedKey, ThatDoesNotFitIsAnError) {
  leaveKey(std::string("wrong\0wrong too\0", 16));
  const auto session = refuse({disk.name()});
  const auto error = failToMount();
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), EPERM);
  EXPECT_EQ(openExclusively(node), EBUSY);
}

TEST_F(EncryptedKey, ThatWasRevokedIsAnError) {
  leaveKey(kLuksPassphrase);
  key->revoke();
  const auto error = failToMount();
  ASSERT_NE(error, nullptr);
  EXPECT_THAT(error->code(), AnyOf(ENOKEY, EKEYREVOKED));
}

TEST_F(EncryptedKey, ThatATokenHasNotEitherIsAnError) {
  header.addToken(R"({"type":"luks2-keyring","keyslots":["0"],"key_description":"nowhere"})");
  const auto error = failToMount();
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), ENOKEY);
}

}  // namespace

}  // namespace marrow
