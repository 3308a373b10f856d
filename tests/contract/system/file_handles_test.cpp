#include "tests/contract/system/system_world.h"

#include <atomic>
#include <cerrno>
#include <mutex>

namespace marrow {

namespace {

class FileHandlesContract : public SystemContract {
 protected:
  void SetUp() override {
    ASSERT_EQ(world->files().makeFIFO(path, 0600), 0);
    handle = world->fileHandles().createHandle(
        world->files().open(path, OpenFlags::readOnly | OpenFlags::nonBlocking));
  }

  void collect() {
    handle->setReadabilityHandler([this](FileHandle& readable) {
      const std::string data = readable.availableData();
      const std::lock_guard lock(mutex);
      received += data;
      ++calls;
    });
  }
  bool waitFor(const std::string& text) {
    return world->waitUntil([&] {
      const std::lock_guard lock(mutex);
      return received == text;
    });
  }

  const std::string path = world->at("fifo");
  std::mutex mutex;
  std::string received;  // under mutex
  int calls = 0;         // under mutex
  std::shared_ptr<FileHandle> handle;
};
INSTANTIATE_TEST_SUITE_P(Worlds, FileHandlesContract, bothWorlds(), nameOfWorld);

TEST_P(FileHandlesContract, HasNothingToGiveBeforeAnybodyWrites) {
  EXPECT_EQ(handle->availableData(), "");
}

TEST_P(FileHandlesContract, ReportsWhatIsWritten) {
  collect();
  world->writeToFIFO(path, "42\n");
  EXPECT_TRUE(waitFor("42\n"));
}

TEST_P(FileHandlesContract, HearsAWriterThatComesAfterTheLastHasGone) {
  collect();
  world->writeToFIFO(path, "1");
  EXPECT_TRUE(waitFor("1"));
  world->writeToFIFO(path, "2");
  EXPECT_TRUE(waitFor("12"));
}

TEST_P(FileHandlesContract, ReportsNothingOnceTheCallbackIsRemoved) {
  collect();
  world->writeToFIFO(path, "1");
  EXPECT_TRUE(waitFor("1"));
  handle->setReadabilityHandler(nullptr);
  const int writer = world->files().open(path, OpenFlags::writeOnly | OpenFlags::nonBlocking);
  ASSERT_GE(writer, 0);
  EXPECT_EQ(world->files().write(writer, "2"), 1);
  EXPECT_EQ(handle->availableData(), "2");
  EXPECT_EQ(world->files().close(writer), 0);
  EXPECT_EQ(received, "1");
}

TEST_P(FileHandlesContract, ReplacesTheCallback) {
  std::atomic<bool> first = false;
  handle->setReadabilityHandler([&first](FileHandle&) { first = true; });
  collect();
  world->writeToFIFO(path, "text");
  EXPECT_TRUE(waitFor("text"));
  EXPECT_FALSE(first);
}

TEST_P(FileHandlesContract, ClosesItsDescriptorWhenReleased) {
  collect();
  handle.reset();
  errno = 0;
  EXPECT_EQ(world->files().open(path, OpenFlags::writeOnly | OpenFlags::nonBlocking), -1);
  EXPECT_EQ(errno, ENXIO);
}

TEST_P(FileHandlesContract, MayBeReleasedInItsOwnCallback) {
  std::atomic<bool> released = false;
  handle->setReadabilityHandler([&](FileHandle&) {
    handle.reset();
    released = true;
  });
  world->writeToFIFO(path, "text");
  EXPECT_TRUE(world->waitUntil([&] { return released.load(); }));
}

}  // namespace

}  // namespace marrow
