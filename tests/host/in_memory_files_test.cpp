#include "tests/host/in_memory_host.h"

#include <array>
#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <thread>

namespace marrow {
namespace {

using testing::ElementsAre;

constexpr auto kCreate = OpenFlags::writeOnly | OpenFlags::create;
constexpr auto kReadFIFO = OpenFlags::readOnly | OpenFlags::nonBlocking;
constexpr auto kWriteFIFO = OpenFlags::writeOnly | OpenFlags::nonBlocking;

class FilesTest : public testing::Test {
 protected:
  int openError(const std::string& path, OpenFlags flags) {
    errno = 0;
    return files.open(path, flags) >= 0 ? 0 : errno;
  }

  std::string readOnce(int descriptor) {
    std::array<char, 16> buffer{};
    errno = 0;
    const auto count = files.read(descriptor, std::as_writable_bytes(std::span(buffer)));
    return count < 0 ? "failed" : std::string(buffer.data(), static_cast<std::size_t>(count));
  }

  InMemoryHost machine;
  InMemoryFiles& files = machine.files;
  InMemoryFileSystem& tree = machine.fileSystem;
};

TEST_F(FilesTest, OpeningSaysWhatIsWrongWithThePath) {
  tree.write("/a/file", "x");
  tree.makeLink("/loop", "/loop");
  EXPECT_EQ(openError("/a/missing", OpenFlags::readOnly), ENOENT);
  EXPECT_EQ(openError("/missing/file", kCreate), ENOENT);
  EXPECT_EQ(openError("/a/file/below", OpenFlags::readOnly), ENOTDIR);
  EXPECT_EQ(openError("/a/file/", OpenFlags::readOnly), ENOTDIR);
  EXPECT_EQ(openError("/a", OpenFlags::writeOnly), EISDIR);
  EXPECT_EQ(openError("/loop", OpenFlags::readOnly), ELOOP);
  EXPECT_EQ(openError("", OpenFlags::readOnly), ENOENT);
  EXPECT_EQ(openError("/" + std::string(256, 'n'), kCreate), ENAMETOOLONG);
  EXPECT_EQ(openError("/a", OpenFlags::readOnly), 0);
}

TEST_F(FilesTest, LinksAndDotsAreFollowed) {
  tree.write("/a/b/file", "text");
  tree.makeLink("/link", "a/b");
  tree.makeLink("/a/up", "/a/b/../b/file");
  EXPECT_EQ(readOnce(files.open("/link/./file", OpenFlags::readOnly)), "text");
  EXPECT_EQ(readOnce(files.open("/a/up", OpenFlags::readOnly)), "text");
}

TEST_F(FilesTest, ADanglingLinkIsThereButCannotBeOpened) {
  tree.makeLink("/link", "/nowhere");
  EXPECT_EQ(files.exists("/link"), 0);
  EXPECT_EQ(openError("/link", OpenFlags::readOnly), ENOENT);
}

TEST_F(FilesTest, ReadingGoesOnUntilTheEnd) {
  tree.write("/file", "0123456789abcdefXY");
  const int descriptor = files.open("/file", OpenFlags::readOnly);
  EXPECT_EQ(readOnce(descriptor), "0123456789abcdef");
  EXPECT_EQ(readOnce(descriptor), "XY");
  EXPECT_EQ(readOnce(descriptor), "");
}

TEST_F(FilesTest, OneReadOrWriteMayTakeLessThanAskedFor) {
  files.setTransferLimit(2);
  const int descriptor = files.open("/file", kCreate);
  EXPECT_EQ(files.write(descriptor, "abc"), 2);
  EXPECT_EQ(tree.contents("/file"), "ab");
}

TEST_F(FilesTest, WritingReplacesAppendsOrTruncates) {
  tree.write("/file", "old text");
  files.write(files.open("/file", OpenFlags::writeOnly), "new");
  EXPECT_EQ(tree.contents("/file"), "new text");
  files.write(files.open("/file", OpenFlags::writeOnly | OpenFlags::append), "!");
  EXPECT_EQ(tree.contents("/file"), "new text!");
  files.write(files.open("/file", OpenFlags::writeOnly | OpenFlags::truncate), "x");
  EXPECT_EQ(tree.contents("/file"), "x");
}

TEST_F(FilesTest, AWrongDirectionIsABadDescriptor) {
  tree.write("/file", "x");
  EXPECT_EQ(files.write(files.open("/file", OpenFlags::readOnly), "y"), -1);
  EXPECT_EQ(errno, EBADF);
  EXPECT_EQ(readOnce(files.open("/file", OpenFlags::writeOnly)), "failed");
  EXPECT_EQ(errno, EBADF);
}

TEST_F(FilesTest, MinusOneIsABadDescriptor) {
  EXPECT_EQ(files.write(-1, "x"), -1);
  EXPECT_EQ(errno, EBADF);
  EXPECT_EQ(files.sync(-1), -1);
}

TEST_F(FilesTest, ADescriptorThatIsNotOpenFailsTheTest) {
  const int descriptor = files.open("/file", kCreate);
  EXPECT_EQ(files.close(descriptor), 0);
  EXPECT_NONFATAL_FAILURE(files.close(descriptor), "not open");
  EXPECT_NONFATAL_FAILURE(files.sync(descriptor), "not open");
}

TEST_F(FilesTest, AFailedCloseStillGivesTheDescriptorBack) {
  machine.faults.fail("Files.close", EIO).once();
  EXPECT_EQ(files.close(files.open("/file", kCreate)), -1);
  EXPECT_EQ(errno, EIO);
  EXPECT_TRUE(files.openPaths().empty());
}

TEST_F(FilesTest, AnUnlinkedFileStaysReadable) {
  tree.write("/file", "text");
  const int descriptor = files.open("/file", OpenFlags::readOnly);
  EXPECT_EQ(files.unlink("/file"), 0);
  EXPECT_EQ(readOnce(descriptor), "text");
  EXPECT_EQ(files.unlink("/file"), -1);
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(FilesTest, UnlinkRemovesALinkAndNoFolder) {
  tree.write("/a/file", "x");
  tree.makeLink("/link", "/a/file");
  EXPECT_EQ(files.unlink("/link"), 0);
  EXPECT_TRUE(tree.exists("/a/file"));
  EXPECT_EQ(files.unlink("/a"), -1);
  EXPECT_EQ(errno, EISDIR);
}

TEST_F(FilesTest, AReadOnlyMountRefusesEveryChange) {
  EXPECT_EQ(openError("/Volumes/system/file", kCreate), EROFS);
  EXPECT_EQ(files.makeFIFO("/Volumes/system/fifo", 0600), -1);
  EXPECT_EQ(errno, EROFS);
}

TEST_F(FilesTest, StatusTellsSizeAndDeviceNumber) {
  tree.write("/file", "12345");
  FileStatus status;
  EXPECT_EQ(files.statusAt("/file", status), 0);
  EXPECT_EQ(status.size, 5);
  EXPECT_EQ(files.statusAt("/dev/disk0s5", status), 0);
  EXPECT_EQ(status.deviceNumber, machine.partitions.deviceNumber("disk0s5"));
  EXPECT_EQ(machine.deviceNames.characterDeviceName(status.deviceNumber), "rdisk0s5");
  EXPECT_EQ(files.statusAt("/missing", status), -1);
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(FilesTest, AFIFOThatIsThereIsNotMadeAgain) {
  EXPECT_EQ(files.makeFIFO("/fifo", 0600), 0);
  EXPECT_EQ(files.makeFIFO("/fifo", 0600), -1);
  EXPECT_EQ(errno, EEXIST);
}

TEST_F(FilesTest, AFIFOWithoutWaitingOpensForReadingAlone) {
  files.makeFIFO("/fifo", 0600);
  EXPECT_EQ(openError("/fifo", kWriteFIFO), ENXIO);
  EXPECT_EQ(openError("/fifo", kReadFIFO), 0);
  EXPECT_EQ(openError("/fifo", kWriteFIFO), 0);
}

TEST_F(FilesTest, AnEmptyFIFOIsAtItsEndOnlyWithoutAWriter) {
  files.makeFIFO("/fifo", 0600);
  const int reader = files.open("/fifo", kReadFIFO);
  EXPECT_EQ(readOnce(reader), "");
  const int writer = files.open("/fifo", kWriteFIFO);
  EXPECT_EQ(readOnce(reader), "failed");
  EXPECT_EQ(errno, EAGAIN);
  files.write(writer, "text");
  files.close(writer);
  EXPECT_EQ(readOnce(reader), "text");
  EXPECT_EQ(readOnce(reader), "");
}

TEST_F(FilesTest, AFIFOWithoutAReaderBreaksThePipe) {
  files.makeFIFO("/fifo", 0600);
  const int reader = files.open("/fifo", kReadFIFO);
  const int writer = files.open("/fifo", kWriteFIFO);
  files.close(reader);
  EXPECT_EQ(files.write(writer, "x"), -1);
  EXPECT_EQ(errno, EPIPE);
}

TEST_F(FilesTest, WaitingForEverFailsTheTest) {
  files.makeFIFO("/fifo", 0600);
  EXPECT_NONFATAL_FAILURE(files.open("/fifo", OpenFlags::readOnly), "wait for ever");
}

TEST_F(FilesTest, NeitherAFIFONorATerminalCanBeSynced) {
  files.makeFIFO("/fifo", 0600);
  EXPECT_EQ(files.sync(files.open("/fifo", kReadFIFO)), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(files.sync(files.open("/dev/console", OpenFlags::writeOnly)), -1);
  EXPECT_EQ(files.sync(files.open("/file", kCreate)), 0);
  EXPECT_EQ(files.fullSync(files.open("/private", OpenFlags::readOnly)), 0);
}

TEST_F(FilesTest, TwoThreadsMayOpenWriteAndClose) {
  constexpr int kRounds = 200;
  const auto work = [&] {
    for (int round = 0; round < kRounds; ++round) {
      const int descriptor = files.open("/dev/console", OpenFlags::writeOnly);
      files.write(descriptor, "x");
      files.close(descriptor);
    }
  };
  std::thread other(work);
  work();
  other.join();
  EXPECT_EQ(tree.contents("/dev/console")->size(), 2U * kRounds);
  EXPECT_EQ(machine.journal.count("Files."), 6U * kRounds);
}

TEST_F(FilesTest, APropertyListIsReadAsItWasWritten) {
  PropertyListDictionary dictionary;
  dictionary.set("key", std::string("value"));
  EXPECT_TRUE(machine.propertyLists.writeDictionary(dictionary, "/private/tmp/list"));
  EXPECT_EQ(machine.propertyLists.readDictionary("/private/tmp/list", nullptr), dictionary);
}

TEST_F(FilesTest, AnotherFileIsNoPropertyList) {
  tree.write("/file", "text");
  ErrorRef error;
  EXPECT_FALSE(machine.propertyLists.readDictionary("/file", &error));
  ASSERT_TRUE(error);
  EXPECT_FALSE(machine.propertyLists.readDictionary("/missing", &error));
  EXPECT_EQ(error->domain(), kPOSIXErrorDomain);
  EXPECT_EQ(error->code(), ENOENT);
  EXPECT_FALSE(machine.propertyLists.writeDictionary({}, "/missing/list"));
}

TEST_F(FilesTest, APropertyListThatIsWrittenAsBytesIsNoneAnyMore) {
  tree.writeDictionary("/list", {});
  files.write(files.open("/list", OpenFlags::writeOnly), "x");
  EXPECT_FALSE(tree.dictionary("/list"));
}

TEST_F(FilesTest, TheTemporaryDirectoryIsMadeForTheOwnerAlone) {
  EXPECT_FALSE(tree.exists("/run/marrow/tmp"));
  EXPECT_EQ(machine.temporaryDirectory.path(), "/run/marrow/tmp");
  EXPECT_EQ(tree.node("/run/marrow/tmp")->mode, 0700U);
}

TEST_F(FilesTest, TheTemporaryDirectoryMayBeMissing) {
  machine.faults.fail("TemporaryDirectory.path", ENOSPC);
  EXPECT_EQ(machine.temporaryDirectory.path(), "/run/marrow/tmp");
  EXPECT_FALSE(tree.exists("/run/marrow/tmp"));
}

}  // namespace
}  // namespace marrow
