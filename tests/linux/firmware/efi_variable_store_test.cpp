#include "host/linux/efi_variable_store.h"

#include "tests/linux/firmware/mounted_image.h"
#include "tests/linux/firmware/recorded_log.h"
#include "tests/linux/firmware/temporary_folder.h"

#include <cerrno>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace marrow {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

const std::string kAttributes("\7\0\0\0", 4);
const std::string kFile = std::string("name-") + kMarrowVendor;
const EFIVariableName kVariable{"name"};

class EFIVariableStoreTest : public testing::Test {
 protected:
  // errno of a read that gives no value.
  int readFailure(const EFIVariableName& variable) {
    errno = 0;
    EXPECT_EQ(store.read(variable), std::nullopt);
    return errno;
  }

  TemporaryFolder folder;
  RecordedLog log;
  EFIVariableStore store{log, folder.path()};
};

TEST_F(EFIVariableStoreTest, AFileHoldsTheAttributesAndThenTheValueWithoutATerminator) {
  EXPECT_EQ(store.write(kVariable, "value"), 0);
  EXPECT_EQ(folder.read(kFile), kAttributes + "value");
  EXPECT_EQ(store.read(kVariable), "value");
}

TEST_F(EFIVariableStoreTest, AShorterValueLeavesNothingOfALongerOne) {
  store.write(kVariable, "a long value");
  EXPECT_EQ(store.write(kVariable, "short"), 0);
  EXPECT_EQ(folder.read(kFile), kAttributes + "short");
}

TEST_F(EFIVariableStoreTest, ZeroBytesArePartOfAValue) {
  const std::string value("\0one\0two\0", 9);
  EXPECT_EQ(store.write(kVariable, value), 0);
  EXPECT_EQ(store.read(kVariable), value);
}

TEST_F(EFIVariableStoreTest, TheLargestValueOfAFirmwareIsKeptWhole) {
  const std::string value(33024, 'x');
  EXPECT_EQ(store.write(kVariable, value), 0);
  EXPECT_EQ(store.read(kVariable), value);
}

TEST_F(EFIVariableStoreTest, AValueBeyondTheLimitIsRefusedAndLeavesTheOldOne) {
  store.write(kVariable, "old");
  EXPECT_EQ(store.write(kVariable, std::string(std::size_t{1} << 20U, 'x')), EFBIG);
  EXPECT_EQ(store.read(kVariable), "old");
}

TEST_F(EFIVariableStoreTest, AFileBeyondTheLimitIsNotReadInPart) {
  folder.write(kFile, std::string((std::size_t{1} << 20U) + 1, 'x'));
  EXPECT_EQ(readFailure(kVariable), EFBIG);
}

TEST_F(EFIVariableStoreTest, AFileWithoutAValueIsNoVariable) {
  for (std::size_t length = 0; length <= kAttributes.size(); ++length) {
    folder.write(kFile, kAttributes.substr(0, length));
    EXPECT_EQ(readFailure(kVariable), ENOENT) << length;
  }
}

TEST_F(EFIVariableStoreTest, AnEmptyFileTakesAValue) {
  folder.write(kFile, "");
  EXPECT_EQ(store.write(kVariable, "value"), 0);
  EXPECT_EQ(store.read(kVariable), "value");
}

TEST_F(EFIVariableStoreTest, AnEmptyValueDeletes) {
  store.write(kVariable, "value");
  EXPECT_EQ(store.write(kVariable, ""), 0);
  EXPECT_EQ(folder.read(kFile), std::nullopt);
}

TEST_F(EFIVariableStoreTest, DeletingWhatIsNotThereSucceeds) {
  EXPECT_EQ(store.remove(kVariable), 0);
}

TEST_F(EFIVariableStoreTest, TheSameValueIsNotWrittenAgain) {
  store.write(kVariable, "value");
  const std::string file = folder.path(kFile);
  const timespec longAgo[2] = {{1000, 0}, {1000, 0}};
  ASSERT_EQ(::utimensat(AT_FDCWD, file.c_str(), longAgo, 0), 0);
  EXPECT_EQ(store.write(kVariable, "value"), 0);
  struct stat status {};
  ASSERT_EQ(::stat(file.c_str(), &status), 0);
  EXPECT_EQ(status.st_mtim.tv_sec, 1000);
}

TEST_F(EFIVariableStoreTest, AValueThatWouldNotOutliveTheBootIsWrittenAgain) {
  folder.write(kFile, std::string("\6\0\0\0", 4) + "value");
  EXPECT_EQ(store.write(kVariable, "value"), 0);
  EXPECT_EQ(folder.read(kFile), kAttributes + "value");
}

TEST_F(EFIVariableStoreTest, AVariableIsKnownByItsNameAndItsVendor) {
  const EFIVariableName other{"name", kBootLoaderVendor};
  store.write(kVariable, "ours");
  store.write(other, "the loader's");
  EXPECT_EQ(store.read(kVariable), "ours");
  EXPECT_EQ(store.read(other), "the loader's");
  EXPECT_TRUE(folder.read(std::string("name-") + kBootLoaderVendor));
}

TEST_F(EFIVariableStoreTest, TheCaseOfAVendorDoesNotMatter) {
  store.write(kVariable, "value");
  EXPECT_EQ(store.read({"name", "9274182A-2C1F-4EDE-A8DC-3F77FE34EB9B"}), "value");
}

TEST_F(EFIVariableStoreTest, ANameThatIsNoFileNameIsRefused) {
  const std::string longest(255 - 37, 'n');
  EXPECT_EQ(store.write({longest}, "value"), 0);
  for (const EFIVariableName& variable :
       {EFIVariableName{""}, EFIVariableName{"a/../b"}, EFIVariableName{std::string("a\0b", 3)},
        EFIVariableName{longest + "n"}, EFIVariableName{"name", "no GUID"},
        EFIVariableName{"name", ""}, EFIVariableName{"name", std::string(36, '-')}}) {
    EXPECT_EQ(store.write(variable, "value"), EINVAL) << variable.name << variable.vendor;
    EXPECT_EQ(store.remove(variable), EINVAL) << variable.name << variable.vendor;
    EXPECT_EQ(readFailure(variable), EINVAL) << variable.name << variable.vendor;
  }
}

TEST_F(EFIVariableStoreTest, AFolderInPlaceOfAVariableIsAFailureAndNotAMissingVariable) {
  folder.makeFolder(kFile);
  EXPECT_EQ(readFailure(kVariable), EISDIR);
  EXPECT_EQ(store.write(kVariable, "value"), EISDIR);
  EXPECT_EQ(store.remove(kVariable), EISDIR);
}

TEST_F(EFIVariableStoreTest, AMissingStoreFailsAndIsToldOnce) {
  EFIVariableStore missing(log, folder.path("nowhere"));
  EXPECT_EQ(missing.read(kVariable), std::nullopt);
  EXPECT_EQ(errno, ENODEV);
  EXPECT_EQ(missing.write(kVariable, "value"), ENODEV);
  EXPECT_EQ(missing.remove(kVariable), ENODEV);
  EXPECT_EQ(missing.sync(), ENODEV);
  EXPECT_THAT(log.texts(), ElementsAre("This machine has no firmware variables (" +
                                       folder.path("nowhere") + "). No such file or directory"));
}

TEST_F(EFIVariableStoreTest, AFolderOfSysfsIsNoStore) {
  EFIVariableStore unmounted(log, "/sys/kernel");
  EXPECT_EQ(unmounted.write(kVariable, "value"), ENODEV);
  EXPECT_THAT(log.texts(), ElementsAre(HasSubstr("No such device")));
}

TEST_F(EFIVariableStoreTest, APlainFolderIsSynced) { EXPECT_EQ(store.sync(), 0); }

class ImmutableVariableTest : public testing::Test {
 protected:
  std::string file() const { return image.path() + "/" + kFile; }

  int flags() const {
    const int descriptor = ::open(file().c_str(), O_RDONLY | O_CLOEXEC);
    int flags = 0;
    EXPECT_EQ(::ioctl(descriptor, FS_IOC_GETFLAGS, &flags), 0);
    ::close(descriptor);
    return flags;
  }

  void setImmutable(bool immutable) const {
    int wanted = (flags() & ~FS_IMMUTABLE_FL) | (immutable ? FS_IMMUTABLE_FL : 0);
    const int descriptor = ::open(file().c_str(), O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(::ioctl(descriptor, FS_IOC_SETFLAGS, &wanted), 0);
    ::close(descriptor);
  }

  // An immutable file that really refuses a plain write and a plain removal.
  void makeImmutable() {
    ASSERT_EQ(store.write(kVariable, "old"), 0);
    setImmutable(true);
    ASSERT_EQ(::open(file().c_str(), O_WRONLY | O_CLOEXEC), -1);
    ASSERT_EQ(errno, EPERM);
    ASSERT_EQ(::unlink(file().c_str()), -1);
    ASSERT_EQ(errno, EPERM);
  }

  MountedImage image{"ext4"};
  RecordedLog log;
  EFIVariableStore store{log, image.path()};
};

TEST_F(ImmutableVariableTest, AnImmutableVariableIsWrittenAndIsImmutableAgain) {
  makeImmutable();
  const int before = flags();
  EXPECT_EQ(store.write(kVariable, "new"), 0);
  EXPECT_EQ(store.read(kVariable), "new");
  EXPECT_EQ(flags(), before);
  setImmutable(false);
}

TEST_F(ImmutableVariableTest, AnImmutableVariableIsDeleted) {
  makeImmutable();
  EXPECT_EQ(store.remove(kVariable), 0);
  EXPECT_EQ(::access(file().c_str(), F_OK), -1);
}

TEST_F(ImmutableVariableTest, AnImmutableVariableOfOtherAttributesIsReplaced) {
  ASSERT_EQ(store.write(kVariable, "old"), 0);
  const int descriptor = ::open(file().c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_EQ(::pwrite(descriptor, "\3", 1, 0), 1);
  ::close(descriptor);
  setImmutable(true);
  EXPECT_EQ(store.write(kVariable, "new"), 0);
  EXPECT_EQ(store.read(kVariable), "new");
}

class FullStoreTest : public testing::Test {
 protected:
  // Takes all room that is left.
  void fill() const {
    const std::string path = memory.path() + "/filler";
    const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    const std::string page(4096, 'x');
    while (::write(descriptor, page.data(), page.size()) > 0) {
    }
    EXPECT_EQ(errno, ENOSPC);
    ::close(descriptor);
  }

  MountedMemory memory{"size=32k,nr_inodes=4"};
  RecordedLog log;
  EFIVariableStore store{log, memory.path()};
};

TEST_F(FullStoreTest, AFullStoreRefusesANewVariableAndHoldsNoPartOfIt) {
  fill();
  EXPECT_EQ(store.write(kVariable, "value"), ENOSPC);
  EXPECT_NE(::access((memory.path() + "/" + kFile).c_str(), F_OK), 0);
}

TEST_F(FullStoreTest, AValueThatDoesNotFitLeavesTheOldOne) {
  ASSERT_EQ(store.write(kVariable, "old"), 0);
  fill();
  EXPECT_EQ(store.write(kVariable, std::string(20000, 'x')), ENOSPC);
  EXPECT_EQ(store.read(kVariable), "old");
}

TEST_F(FullStoreTest, AValueOfWhichAPartWouldFitLeavesTheOldOne) {
  const std::string old(9000, 'o');
  ASSERT_EQ(store.write(kVariable, old), 0);
  fill();
  EXPECT_EQ(store.write(kVariable, std::string(20000, 'x')), ENOSPC);
  EXPECT_EQ(store.read(kVariable), old);
}

TEST_F(FullStoreTest, AFullStoreStillDeletes) {
  ASSERT_EQ(store.write(kVariable, "old"), 0);
  fill();
  EXPECT_EQ(store.remove(kVariable), 0);
}

TEST_F(FullStoreTest, AReadOnlyStoreSaysSoAndKeepsItsValues) {
  ASSERT_EQ(store.write(kVariable, "old"), 0);
  memory.makeReadOnly();
  EXPECT_EQ(store.write(kVariable, "new"), EROFS);
  EXPECT_EQ(store.write(kVariable, "old"), 0);
  EXPECT_EQ(store.write({"other"}, "new"), EROFS);
  EXPECT_EQ(store.remove(kVariable), EROFS);
  EXPECT_EQ(store.read(kVariable), "old");
}

}  // namespace
}  // namespace marrow
