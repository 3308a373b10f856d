// The variables of a real firmware, by the kernel's own file system: what it takes, it keeps whole,
// and what it refuses changes nothing.
#include "host/linux/descriptor.h"
#include "host/linux/efi_variable_store.h"
#include "tests/linux/firmware/recorded_log.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <unistd.h>
#include <vector>

namespace marrow {
namespace {

const EFIVariableName kVariable{"marrow-test"};

// More bytes than any firmware takes.
constexpr std::size_t kTooLarge = std::size_t{512} * 1024;

std::string pathOf(const EFIVariableName& variable) {
  return std::string(kEFIVariablesRoot) + '/' + variable.name + '-' + variable.vendor;
}

class EfivarfsTest : public testing::Test {
 protected:
  EfivarfsTest() = default;
  EfivarfsTest(const EfivarfsTest&) = delete;
  EfivarfsTest& operator=(const EfivarfsTest&) = delete;
  ~EfivarfsTest() override {
    store.remove(kVariable);
    for (const EFIVariableName& one : _fillers) {
      store.remove(one);
    }
  }

  // Large variables, then small ones, until the firmware takes no more.
  void fill() {
    for (const std::size_t size : {16384, 1024, 64, 1}) {
      while (addFiller(size)) {
      }
    }
  }

  RecordedLog log;
  EFIVariableStore store{log};

 private:
  bool addFiller(std::size_t size) {
    EFIVariableName name{"marrow-filler-" + std::to_string(_fillers.size())};
    const int status = store.write(name, std::string(size, 'f'));
    if (status == 0) {
      _fillers.push_back(std::move(name));
    }
    return status == 0;
  }

  std::vector<EFIVariableName> _fillers;
};

TEST_F(EfivarfsTest, AValueIsWrittenReadChangedAndDeleted) {
  EXPECT_EQ(store.write(kVariable, "value"), 0);
  EXPECT_EQ(store.read(kVariable), "value");
  EXPECT_EQ(store.write(kVariable, "another, longer"), 0);
  EXPECT_EQ(store.read(kVariable), "another, longer");
  EXPECT_EQ(store.write(kVariable, "x"), 0);
  EXPECT_EQ(store.read(kVariable), "x");
  EXPECT_EQ(store.remove(kVariable), 0);
  EXPECT_EQ(store.read(kVariable), std::nullopt);
  EXPECT_NE(::access(pathOf(kVariable).c_str(), F_OK), 0);
}

// The kernel guards what it does not know (Documentation/filesystems/efivarfs.rst).
TEST_F(EfivarfsTest, AVariableThatTheKernelMadeImmutableIsChangedAndIsImmutableAgain) {
  ASSERT_EQ(store.write(kVariable, "old"), 0);
  const Descriptor file(::open(pathOf(kVariable).c_str(), O_RDONLY | O_CLOEXEC));
  int flags = FS_IMMUTABLE_FL;
  ASSERT_EQ(::ioctl(file.number(), FS_IOC_SETFLAGS, &flags), 0);
  EXPECT_EQ(store.write(kVariable, "new"), 0);
  EXPECT_EQ(store.read(kVariable), "new");
  flags = 0;
  EXPECT_EQ(::ioctl(file.number(), FS_IOC_GETFLAGS, &flags), 0);
  EXPECT_EQ(flags & FS_IMMUTABLE_FL, FS_IMMUTABLE_FL);
}

TEST_F(EfivarfsTest, ALargeValueIsKeptWholeAndOneTooLargeFailsWhole) {
  std::string kept;
  std::string next(1024, 'x');
  while (store.write(kVariable, next) == 0) {
    ASSERT_EQ(store.read(kVariable), next);
    kept = next;
    next += next;
  }
  EXPECT_FALSE(kept.empty());
  EXPECT_EQ(store.read(kVariable), kept);
}

TEST_F(EfivarfsTest, ATooLargeNewValueLeavesNothing) {
  EXPECT_NE(store.write(kVariable, std::string(kTooLarge, 'x')), 0);
  EXPECT_EQ(store.read(kVariable), std::nullopt);
  EXPECT_NE(::access(pathOf(kVariable).c_str(), F_OK), 0);
}

class ReadOnlyRemount {
 public:
  ReadOnlyRemount() { remount(MS_RDONLY); }
  ReadOnlyRemount(const ReadOnlyRemount&) = delete;
  ReadOnlyRemount& operator=(const ReadOnlyRemount&) = delete;
  ~ReadOnlyRemount() { remount(0); }

 private:
  static void remount(unsigned long flags) {
    EXPECT_EQ(::mount(nullptr, kEFIVariablesRoot, nullptr, MS_REMOUNT | flags, nullptr), 0);
  }
};

TEST_F(EfivarfsTest, AReadOnlyStoreSaysSoAndKeepsItsValues) {
  ASSERT_EQ(store.write(kVariable, "old"), 0);
  const ReadOnlyRemount remounted;
  EXPECT_EQ(store.write(kVariable, "new"), EROFS);
  EXPECT_EQ(store.remove(kVariable), EROFS);
  EXPECT_EQ(store.read(kVariable), "old");
}

// It stays full until the next boot: this firmware tidies up only then. No test may come behind.
TEST_F(EfivarfsTest, AFullStoreRefusesWhatIsNewKeepsWhatIsOldAndStillDeletes) {
  const EFIVariableName other{"marrow-test-2"};
  ASSERT_EQ(store.write(kVariable, "old"), 0);
  fill();
  EXPECT_EQ(store.write(other, std::string(1000, 'x')), ENOSPC);
  EXPECT_EQ(store.read(other), std::nullopt);
  EXPECT_NE(::access(pathOf(other).c_str(), F_OK), 0);
  EXPECT_EQ(store.write(kVariable, std::string(8000, 'x')), ENOSPC);
  EXPECT_EQ(store.read(kVariable), "old");
  EXPECT_EQ(store.remove(kVariable), 0);
  EXPECT_EQ(store.read(kVariable), std::nullopt);
}

}  // namespace
}  // namespace marrow
