#include "host/linux/text_output.h"

#include "tests/linux/firmware/temporary_folder.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace marrow {
namespace {

class TextOutputTest : public testing::Test {
 protected:
  std::string makePipe() const {
    EXPECT_EQ(::mkfifo(folder.path("pipe").c_str(), 0600), 0);
    return folder.path("pipe");
  }

  TemporaryFolder folder;
};

TEST_F(TextOutputTest, TextIsPutAtTheEnd) {
  folder.write("file", "one ");
  EXPECT_EQ(writeTextTo(folder.path("file"), "two"), 0);
  EXPECT_EQ(folder.read("file"), "one two");
}

TEST_F(TextOutputTest, NothingIsMade) {
  EXPECT_EQ(writeTextTo(folder.path("file"), "text"), ENOENT);
  EXPECT_EQ(folder.read("file"), std::nullopt);
}

TEST_F(TextOutputTest, APipeWithoutAReaderIsAFailureAtOnce) {
  EXPECT_EQ(writeTextTo(makePipe(), "text"), ENXIO);
}

TEST_F(TextOutputTest, APipeWhoseReaderHasGoneIsAFailureAndEndsNothing) {
  const std::string path = makePipe();
  Descriptor reader(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  const Descriptor output = openTextOutput(path);
  reader.reset();
  EXPECT_EQ(writeText(output, "text"), EPIPE);
}

TEST_F(TextOutputTest, AReaderThatHasFallenBehindIsWaitedFor) {
  const std::string path = makePipe();
  const Descriptor reader(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  const Descriptor output = openTextOutput(path);
  const std::string text(200000, 'x');  // more than a pipe holds
  std::size_t received = 0;
  std::thread reading([&] {
    std::array<char, 4096> buffer{};
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (received < text.size() && std::chrono::steady_clock::now() < deadline) {
      const ssize_t count = ::read(reader.number(), buffer.data(), buffer.size());
      received += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
  });
  EXPECT_EQ(writeText(output, text), 0);
  reading.join();
  EXPECT_EQ(received, text.size());
}

TEST_F(TextOutputTest, AReaderThatDoesNotReadIsWaitedForOneSecond) {
  const std::string path = makePipe();
  const Descriptor reader(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  const Descriptor output = openTextOutput(path);
  const auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(writeText(output, std::string(200000, 'x')), EAGAIN);
  const auto waited = std::chrono::steady_clock::now() - before;
  EXPECT_GE(waited, std::chrono::milliseconds(900));
}

}  // namespace
}  // namespace marrow
