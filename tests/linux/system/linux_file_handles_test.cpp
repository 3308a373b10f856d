#include "host/linux/linux_file_handles.h"

#include "host/linux/descriptor.h"
#include "tests/contract/system/scratch_folder.h"
#include "tests/linux/system/recorded_log.h"
#include "tests/linux/system/text_files.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <sstream>
#include <sys/stat.h>
#include <thread>
#include <vector>

namespace marrow {

namespace {

using namespace std::chrono_literals;

// The processor time, in clock ticks, of the thread of this process that has this name.
long ticksOfThread(const std::string& name) {
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    if (fileText(thread.path() / "comm") != name + '\n') {
      continue;
    }
    std::istringstream fields(fileText(thread.path() / "stat"));
    std::string field;
    long ticks = 0;
    for (int number = 1; fields >> field; ++number) {  // proc_pid_stat(5): utime is 14, stime 15
      ticks += number == 14 || number == 15 ? std::stol(field) : 0;
    }
    return ticks;
  }
  ADD_FAILURE() << "no thread " << name;
  return 0;
}

class LinuxFileHandlesTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0); }

  std::shared_ptr<FileHandle> open() {
    return service.createHandle(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  }
  Descriptor openWriter() const { return Descriptor(::open(path.c_str(), O_WRONLY | O_CLOEXEC)); }
  void waitFor(const std::function<bool()>& condition) const {
    const auto deadline = std::chrono::steady_clock::now() + 20s;
    while (!condition()) {
      ASSERT_LT(std::chrono::steady_clock::now(), deadline);
      std::this_thread::sleep_for(1ms);
    }
  }

  const ScratchFolder folder;
  const std::string path = folder.at("fifo");
  RecordedLog log;
  LinuxFileHandles service{log};
};

TEST_F(LinuxFileHandlesTest, CostsNoProcessorTimeAfterTheWriterHasGone) {
  const auto handle = open();
  std::atomic<std::size_t> received = 0;
  std::atomic<int> calls = 0;
  handle->setReadabilityHandler([&](FileHandle& readable) {
    received += readable.availableData().size();
    ++calls;
  });
  writeFile(path, "42\n");
  waitFor([&] { return received == 3; });
  std::this_thread::sleep_for(100ms);
  const long before = ticksOfThread("file-handles");
  const int callsBefore = calls;
  std::this_thread::sleep_for(1s);
  EXPECT_LE(ticksOfThread("file-handles") - before, 1);
  EXPECT_EQ(calls, callsBefore);
  writeFile(path, "43\n");
  waitFor([&] { return received == 6; });
}

TEST_F(LinuxFileHandlesTest, ReportsEachWriteOfAWriterThatStays) {
  const auto handle = open();
  std::atomic<std::size_t> received = 0;
  handle->setReadabilityHandler(
      [&](FileHandle& readable) { received += readable.availableData().size(); });
  const Descriptor writer = openWriter();
  for (std::size_t count = 1; count <= 100; ++count) {
    ASSERT_EQ(::write(writer.number(), "x", 1), 1);
    waitFor([&] { return received == count; });
  }
}

TEST_F(LinuxFileHandlesTest, GivesEverythingOfAFloodInBoundedPieces) {
  const auto handle = open();
  constexpr std::size_t kTotal = 16U << 20U;
  std::atomic<std::size_t> received = 0;
  std::atomic<std::size_t> largest = 0;
  handle->setReadabilityHandler([&](FileHandle& readable) {
    const std::size_t size = readable.availableData().size();
    largest = std::max(largest.load(), size);
    received += size;
  });
  writeFile(path, std::string(kTotal, 'x'));
  waitFor([&] { return received == kTotal; });
  EXPECT_LE(largest, 1U << 20U);
}

// The largest resident memory of this process since it was last forgotten, in KiB (proc(5),
// clear_refs).
std::uint64_t peakMemory() {
  const std::string status = fileText("/proc/self/status");
  return std::stoull(status.substr(status.find("VmHWM:") + 6));
}

// KiB. The address checker keeps 256 MiB of what was freed, and some more in between.
#ifdef __SANITIZE_ADDRESS__
constexpr std::uint64_t kMore = 65536;
#else
constexpr std::uint64_t kMore = 8192;
#endif

TEST_F(LinuxFileHandlesTest, TakesNoMoreMemoryForALongFlood) {
  const auto handle = open();
  std::atomic<std::uint64_t> received = 0;
  handle->setReadabilityHandler(
      [&](FileHandle& readable) { received += readable.availableData().size(); });
  const Descriptor writer = openWriter();
  const std::string data(1U << 16U, 'x');
  constexpr std::uint64_t kWarm = 5120;           // 320 MiB
  constexpr std::uint64_t kTotal = kWarm + 4096;  // 256 MiB more
  std::uint64_t before = 0;
  for (std::uint64_t count = 0; count < kTotal; ++count) {
    if (count == kWarm) {
      writeFile("/proc/self/clear_refs", "5");
      before = peakMemory();
    }
    ASSERT_EQ(::write(writer.number(), data.data(), data.size()),
              static_cast<ssize_t>(data.size()));
  }
  waitFor([&] { return received == kTotal * data.size(); });
  EXPECT_LT(peakMemory(), before + kMore);
}

TEST_F(LinuxFileHandlesTest, ReportsAgainWhatWasTooMuchForOneCall) {
  LinuxFileHandles small(log, 1000);
  const auto handle = small.createHandle(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  const Descriptor writer = openWriter();
  const std::string data(10'000, 'x');
  ASSERT_EQ(::write(writer.number(), data.data(), data.size()), 10'000);
  std::atomic<std::size_t> received = 0;
  std::atomic<std::size_t> largest = 0;
  handle->setReadabilityHandler([&](FileHandle& readable) {
    const std::size_t size = readable.availableData().size();
    largest = std::max(largest.load(), size);
    received += size;
  });
  waitFor([&] { return received == data.size(); });
  EXPECT_EQ(largest, 1000U);
}

TEST_F(LinuxFileHandlesTest, WaitsForARunningCallbackBeforeItIsReleased) {
  auto handle = open();
  std::atomic<bool> entered = false;
  std::atomic<bool> left = false;
  handle->setReadabilityHandler([&](FileHandle& readable) {
    readable.availableData();
    entered = true;
    std::this_thread::sleep_for(200ms);
    left = true;
  });
  writeFile(path, "x");
  waitFor([&] { return entered.load(); });
  handle.reset();
  EXPECT_TRUE(left);
}

TEST_F(LinuxFileHandlesTest, ServesManyHandlesThatComeAndGo) {
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([this, number] {
      const std::string mine = folder.at("fifo" + std::to_string(number));
      ASSERT_EQ(::mkfifo(mine.c_str(), 0600), 0);
      for (int round = 0; round < 50; ++round) {
        auto handle = service.createHandle(::open(mine.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
        std::atomic<std::size_t> received = 0;
        handle->setReadabilityHandler(
            [&](FileHandle& readable) { received += readable.availableData().size(); });
        writeFile(mine, "text");
        waitFor([&] { return received == 4 || round % 2 == 1; });
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

// As at the end of a tool whose children go on reporting.
TEST_F(LinuxFileHandlesTest, CanBeReleasedInTheMiddleOfAFlood) {
  const auto previous = std::signal(SIGPIPE, SIG_IGN);
  std::atomic<bool> stopped = false;
  std::vector<std::thread> writers;
  for (int number = 0; number < 2; ++number) {
    writers.emplace_back([&] {
      while (!stopped) {
        const Descriptor writer(::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
        for (int count = 0; writer && count < 200; ++count) {
          [[maybe_unused]] const ssize_t written = ::write(writer.number(), "50\n", 3);
        }
      }
    });
  }
  std::atomic<std::uint64_t> received = 0;
  for (int round = 0; round < 500; ++round) {
    const auto handle = open();
    handle->setReadabilityHandler(
        [&](FileHandle& readable) { received += readable.availableData().size(); });
    if (round % 100 == 0) {
      const std::uint64_t before = received;
      waitFor([&] { return received > before; });
    }
    handle->setReadabilityHandler(nullptr);
  }
  stopped = true;
  for (std::thread& writer : writers) {
    writer.join();
  }
  std::signal(SIGPIPE, previous);
}

TEST_F(LinuxFileHandlesTest, TellsThatARegularFileCannotBeWatched) {
  writeFile(folder.at("file"), "text");
  const auto handle = service.createHandle(::open(folder.at("file").c_str(), O_RDONLY | O_CLOEXEC));
  handle->setReadabilityHandler([](FileHandle&) { ADD_FAILURE(); });
  EXPECT_EQ(log.texts(), std::vector<std::string>{
                             "A descriptor cannot be watched for data: Operation not permitted"});
  EXPECT_EQ(handle->availableData(), "text");
}

TEST_F(LinuxFileHandlesTest, StartsNoThreadUntilACallbackIsSet) {
  const auto handle = open();
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    EXPECT_NE(fileText(thread.path() / "comm"), "file-handles\n");
  }
}

}  // namespace

}  // namespace marrow
