// Stores that are full, read-only, slow, or refuse: what is said, and that nothing is lost.
#include "host/linux/descriptor.h"
#include "host/linux/linux_firmware_variables.h"
#include "tests/linux/firmware/firmware_file_system.h"
#include "tests/linux/firmware/mounted_image.h"
#include "tests/linux/firmware/recorded_log.h"

#include <cerrno>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <unistd.h>

namespace marrow {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string kNameOnStore = "OTA-migrator-metrics";
const std::string kFileOnStore = kNameOnStore + "-" + kMarrowVendor;
const std::string kUsualAttributes("\7\0\0\0", 4);
const std::string kOtherAttributes("\6\0\0\0", 4);

class RefusingFirmwareTest : public testing::Test {
 protected:
  bool set(const std::optional<std::string>& value) {
    return variables.setString(value, kNameOnStore, std::nullopt);
  }

  FirmwareFileSystem firmware;
  RecordedLog log;
  EFIVariableStore store{log, firmware.path()};
  LinuxFirmwareVariables variables{store, log};
};

TEST_F(RefusingFirmwareTest, AValueIsWrittenReadChangedAndDeleted) {
  EXPECT_TRUE(set("one"));
  EXPECT_TRUE(firmware.isImmutable(kFileOnStore));
  EXPECT_EQ(variables.string(kNameOnStore), "one");
  EXPECT_TRUE(set("other"));
  EXPECT_EQ(firmware.bytes(kFileOnStore), kUsualAttributes + "other");
  EXPECT_TRUE(firmware.isImmutable(kFileOnStore));
  EXPECT_TRUE(set(std::nullopt));
  EXPECT_EQ(variables.string(kNameOnStore), std::nullopt);
  EXPECT_THAT(log.texts(), IsEmpty());
}

TEST_F(RefusingFirmwareTest, TheFlashIsChangedOnlyWhereTheValueIsAnother) {
  EXPECT_TRUE(set(std::nullopt));
  EXPECT_EQ(firmware.changes(), 0);
  EXPECT_TRUE(set("value"));
  EXPECT_TRUE(set("value"));
  EXPECT_TRUE(variables.forceSync());
  EXPECT_EQ(firmware.changes(), 1);
}

TEST_F(RefusingFirmwareTest, TheLargestValueFitsAndOneMoreByteFailsWhole) {
  const std::string largest(FirmwareFileSystem::kLargest - 4, 'x');
  EXPECT_TRUE(set(largest));
  EXPECT_EQ(variables.string(kNameOnStore), largest);
  EXPECT_FALSE(set(largest + "x"));
  EXPECT_EQ(variables.string(kNameOnStore), largest);
  EXPECT_THAT(log.texts(), ElementsAre("Unable to write firmware variable OTA-migrator-metrics. "
                                       "Invalid argument"));
}

TEST_F(RefusingFirmwareTest, ATooLargeNewValueLeavesNothing) {
  EXPECT_FALSE(set(std::string(FirmwareFileSystem::kLargest, 'x')));
  EXPECT_EQ(variables.string(kNameOnStore), std::nullopt);
  EXPECT_EQ(firmware.changes(), 1);  // the removal of the file that was begun
}

TEST_F(RefusingFirmwareTest, WhateverRefusesAWriteIsToldAndTheOldValueStays) {
  firmware.put(kFileOnStore, kUsualAttributes + "old");
  for (const char* const call : {"open", "write"}) {
    for (const int number : {ENOSPC, EROFS, EACCES, EIO, EPERM}) {
      const std::size_t before = log.messages().size();
      // The variable is read, and its flag lifted, by an open each.
      firmware.failNext(call, std::string(call) == "open" ? std::vector<int>{0, 0, number}
                                                          : std::vector<int>{number});
      EXPECT_FALSE(set("new")) << call << number;
      EXPECT_EQ(firmware.bytes(kFileOnStore), kUsualAttributes + "old") << call << number;
      EXPECT_TRUE(firmware.isImmutable(kFileOnStore)) << call << number;
      ASSERT_EQ(log.messages().size(), before + 1) << call << number;
      EXPECT_EQ(log.messages().back().first, LogLevel::error);
    }
  }
  EXPECT_EQ(firmware.changes(), 0);
}

TEST_F(RefusingFirmwareTest, AVariableThatCannotBeReadIsToldAndIsNotWrittenOver) {
  firmware.put(kFileOnStore, kUsualAttributes + "old");
  firmware.failNext("read", {EIO, EIO});
  EXPECT_EQ(variables.string(kNameOnStore), std::nullopt);
  EXPECT_FALSE(set("new"));
  EXPECT_EQ(firmware.bytes(kFileOnStore), kUsualAttributes + "old");
  EXPECT_THAT(log.texts(), ElementsAre("Unable to read firmware variable OTA-migrator-metrics. "
                                       "Input/output error",
                                       "Unable to write firmware variable OTA-migrator-metrics. "
                                       "Input/output error"));
}

TEST_F(RefusingFirmwareTest, ADeletionThatIsRefusedIsToldAndTheValueStays) {
  firmware.put(kFileOnStore, kUsualAttributes + "old");
  firmware.failNext("unlink", {EIO});
  EXPECT_FALSE(set(std::nullopt));
  EXPECT_EQ(firmware.bytes(kFileOnStore), kUsualAttributes + "old");
  EXPECT_TRUE(firmware.isImmutable(kFileOnStore));
}

TEST_F(RefusingFirmwareTest, AVariableOfOtherAttributesIsReplaced) {
  firmware.put(kFileOnStore, kOtherAttributes + "old");
  EXPECT_TRUE(set("new"));
  EXPECT_EQ(firmware.bytes(kFileOnStore), kUsualAttributes + "new");
}

TEST_F(RefusingFirmwareTest, WhatWasDeletedForOtherAttributesComesBackWhenTheNewIsRefused) {
  firmware.put(kFileOnStore, kOtherAttributes + "old");
  firmware.failNext("write", {ENOSPC});
  EXPECT_FALSE(set("new"));
  EXPECT_EQ(firmware.bytes(kFileOnStore), kOtherAttributes + "old");
}

TEST_F(RefusingFirmwareTest, ThatTheOldValueCouldNotBePutBackIsSaid) {
  firmware.put(kFileOnStore, kOtherAttributes + "old");
  firmware.failNext("write", {ENOSPC, EIO});
  EXPECT_FALSE(set("new"));
  EXPECT_THAT(log.texts(), ElementsAre("Unable to write firmware variable OTA-migrator-metrics. "
                                       "State not recoverable"));
}

TEST_F(RefusingFirmwareTest, AnInterruptedCallIsMadeAgain) {
  firmware.put(kFileOnStore, kOtherAttributes + "old");
  for (const char* const call : {"open", "read", "write", "unlink", "getflags", "setflags"}) {
    firmware.failNext(call, {EINTR, EINTR});
  }
  EXPECT_TRUE(set("new"));
  EXPECT_EQ(firmware.bytes(kFileOnStore), kUsualAttributes + "new");
  EXPECT_EQ(variables.string(kNameOnStore), "new");
  firmware.failNext("setflags", {EINTR});
  firmware.failNext("unlink", {EINTR});
  EXPECT_TRUE(set(std::nullopt));
  EXPECT_EQ(firmware.bytes(kFileOnStore), "");
  EXPECT_THAT(log.texts(), IsEmpty());
}

TEST_F(RefusingFirmwareTest, ASlowStoreTakesItsTimeAndHoldsTheWholeValue) {
  firmware.beSlow(std::chrono::milliseconds(50));
  const std::string value(20000, 'x');
  EXPECT_TRUE(set(value));
  EXPECT_EQ(variables.string(kNameOnStore), value);
  EXPECT_EQ(firmware.changes(), 1);
}

class StoreOnDiskTest : public testing::Test {
 protected:
  int set(const std::string& value) { return store.write({kNameOnStore}, value); }
  std::optional<std::string> value() { return store.read({kNameOnStore}); }
  std::string file() const { return image.path() + "/" + kFileOnStore; }

  // Takes all room that is left.
  void fill() const {
    const Descriptor filler(
        ::open((image.path() + "/filler").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    const std::string page(1024, 'x');
    while (::write(filler.number(), page.data(), page.size()) > 0) {
    }
    EXPECT_EQ(errno, ENOSPC);
  }
  void setImmutable(const std::string& path, bool immutable) const {
    const Descriptor opened(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    int flags = 0;
    EXPECT_EQ(::ioctl(opened.number(), FS_IOC_GETFLAGS, &flags), 0);
    flags = immutable ? flags | FS_IMMUTABLE_FL : flags & ~FS_IMMUTABLE_FL;
    EXPECT_EQ(::ioctl(opened.number(), FS_IOC_SETFLAGS, &flags), 0);
  }

  MountedImage image{"ext4"};
  RecordedLog log;
  EFIVariableStore store{log, image.path()};
};

TEST_F(StoreOnDiskTest, AFullDiskKeepsTheOldValueWholeWhateverItsSize) {
  for (const std::size_t size : {std::size_t{3}, std::size_t{9000}, std::size_t{33024}}) {
    const std::string old(size, 'o');
    ASSERT_EQ(set(old), 0);
    fill();
    EXPECT_EQ(set(std::string(60000, 'x')), ENOSPC) << size;
    EXPECT_EQ(value(), old) << size;
    EXPECT_EQ(::unlink((image.path() + "/filler").c_str()), 0);
  }
}

TEST_F(StoreOnDiskTest, AFullDiskHoldsNoPartOfANewValue) {
  fill();
  EXPECT_EQ(set(std::string(33024, 'x')), ENOSPC);
  EXPECT_EQ(::access(file().c_str(), F_OK), -1);
  EXPECT_EQ(store.sync(), 0);
}

TEST_F(StoreOnDiskTest, AReadOnlyDiskSaysSoAndKeepsItsImmutableValues) {
  ASSERT_EQ(set("old"), 0);
  setImmutable(file(), true);
  ASSERT_EQ(::mount(nullptr, image.path().c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
  EXPECT_EQ(set("old"), 0);
  EXPECT_EQ(store.write({"other"}, "new"), EROFS);
  EXPECT_THAT(set("new"), testing::AnyOf(EROFS, EPERM));
  EXPECT_THAT(store.remove({kNameOnStore}), testing::AnyOf(EROFS, EPERM));
  EXPECT_EQ(value(), "old");
}

TEST_F(StoreOnDiskTest, AnImmutableFolderRefusesNewAndDeletedVariablesAlone) {
  ASSERT_EQ(set("old"), 0);
  setImmutable(image.path(), true);
  EXPECT_EQ(store.write({"other"}, "new"), EPERM);
  EXPECT_EQ(store.remove({kNameOnStore}), EPERM);
  EXPECT_EQ(value(), "old");
  EXPECT_EQ(set("new"), 0);
  EXPECT_EQ(value(), "new");
  setImmutable(image.path(), false);
}

}  // namespace
}  // namespace marrow
