#include "tests/host/in_memory_host.h"

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

namespace marrow {
namespace {

using testing::ElementsAre;

class FileHandlesTest : public testing::Test {
 protected:
  FileHandlesTest() {
    machine.files.makeFIFO("/fifo", 0600);
    handle = machine.fileHandles.createHandle(
        machine.files.open("/fifo", OpenFlags::readOnly | OpenFlags::nonBlocking));
  }

  void readWhenReadable() {
    handle->setReadabilityHandler(
        [this](FileHandle& readable) { reads.push_back(readable.availableData()); });
  }

  InMemoryHost machine;
  std::shared_ptr<FileHandle> handle;
  std::vector<std::string> reads;
};

TEST_F(FileHandlesTest, EachWriteIsReportedOnce) {
  readWhenReadable();
  machine.fileSystem.write("/fifo", "10\n");
  machine.fileSystem.write("/fifo", "20\n");
  EXPECT_THAT(reads, ElementsAre("10\n", "20\n"));
  EXPECT_EQ(handle->availableData(), "");
}

TEST_F(FileHandlesTest, WritesOfTheFilesServiceAreReportedToo) {
  readWhenReadable();
  const int writer = machine.files.open("/fifo", OpenFlags::writeOnly);
  machine.files.write(writer, "30\n");
  machine.files.close(writer);
  EXPECT_THAT(reads, ElementsAre("30\n"));
}

TEST_F(FileHandlesTest, SeveralWritesMayBeReadAtOnce) {
  readWhenReadable();
  machine.fileHandles.deliverTogether([&] {
    machine.fileSystem.write("/fifo", "10\n");
    machine.fileSystem.write("/fifo", "20\n");
  });
  EXPECT_THAT(reads, ElementsAre("10\n20\n"));
}

TEST_F(FileHandlesTest, WhatCameBeforeTheCallbackIsReportedToIt) {
  machine.fileSystem.write("/fifo", "5\n");
  readWhenReadable();
  EXPECT_THAT(reads, ElementsAre("5\n"));
}

TEST_F(FileHandlesTest, ARemovedCallbackIsNotRun) {
  readWhenReadable();
  handle->setReadabilityHandler(nullptr);
  machine.fileSystem.write("/fifo", "10\n");
  EXPECT_TRUE(reads.empty());
  EXPECT_EQ(handle->availableData(), "10\n");
}

TEST_F(FileHandlesTest, ACallbackRunsOutsideOfTheQueues) {
  std::string label;
  handle->setReadabilityHandler([&](FileHandle&) { label = machine.queues.currentLabel(); });
  machine.fileSystem.write("/fifo", "10\n");
  EXPECT_EQ(label, "FileHandles");
}

TEST_F(FileHandlesTest, ACallbackMayReleaseItsHandle) {
  handle->setReadabilityHandler([this](FileHandle&) { handle.reset(); });
  machine.fileSystem.write("/fifo", "10\n");
  EXPECT_EQ(machine.fileHandles.openHandles(), 0U);
}

TEST_F(FileHandlesTest, TheReleasedHandleClosesItsDescriptor) {
  EXPECT_THAT(machine.files.openPaths(), ElementsAre("/fifo"));
  handle.reset();
  EXPECT_TRUE(machine.files.openPaths().empty());
  EXPECT_TRUE(machine.journal.contains("FileHandle.close /fifo"));
}

TEST_F(FileHandlesTest, AFIFOThatNobodyReadsFailsTheTest) {
  handle.reset();
  EXPECT_NONFATAL_FAILURE(machine.fileSystem.write("/fifo", "1"), "nobody reads");
}

}  // namespace
}  // namespace marrow
