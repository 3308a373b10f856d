// What a loss of power leaves of the writes to a disk.
#include "rehearsal/vm/write_log.h"

#include "rehearsal/files.h"
#include "rehearsal/problem.h"
#include "tests/rehearsal/temporary_folder.h"

#include <array>
#include <cstring>
#include <gtest/gtest.h>

namespace marrow::rehearsal {
namespace {

constexpr std::size_t kSector = 512;
constexpr std::uint64_t kFlush = 1;
constexpr std::uint64_t kForced = 2;
constexpr std::uint64_t kDiscard = 4;

// Numbers of the format, little-endian, filled up to a sector.
std::string sectorOf(std::initializer_list<std::uint64_t> numbers) {
  std::string bytes;
  for (std::uint64_t number : numbers) {
    for (int i = 0; i < 8; ++i, number >>= 8U) {
      bytes += static_cast<char>(number & 0xffU);
    }
  }
  bytes.resize(kSector, '\0');
  return bytes;
}

class WriteLog : public testing::Test {
 protected:
  WriteLog() { writeFile(folder / "image", std::string(8 * kSector, '-')); }

  void write(std::uint64_t sector, char letter, std::uint64_t flags = 0) {
    log += sectorOf({sector, 1, flags, 0}) + std::string(kSector, letter);
  }
  void flush() { log += sectorOf({0, 0, kFlush, 0}); }

  KeptWrites replay(std::uint64_t seed = 1) {
    writeFile(folder / "log", log);
    return replayAfterCut(folder / "log", folder / "image", seed);
  }

  // The first letter of each sector.
  std::string image() const {
    const std::string bytes = readFile(folder / "image").value_or("");
    std::string letters;
    for (std::size_t i = 0; i < bytes.size(); i += kSector) {
      letters += bytes[i];
    }
    return letters;
  }

  TemporaryFolder folder;
  std::string log = sectorOf({0x6a736677736872, 1, 0, kSector});
};

TEST_F(WriteLog, KeepsEverythingBeforeTheLastFlush) {
  write(0, 'a');
  write(2, 'b');
  flush();
  write(2, 'c');
  flush();
  EXPECT_EQ(replay().flushed, 5U);
  EXPECT_EQ(image(), "a-c-----");
}

TEST_F(WriteLog, KeepsSomeOfWhatWasNotFlushed) {
  for (std::uint64_t i = 0; i < 8; ++i) {
    write(i, 'x');
  }
  const KeptWrites writes = replay();
  EXPECT_EQ(writes.kept + writes.lost, 8U);
  EXPECT_GT(writes.kept, 0U);
  EXPECT_GT(writes.lost, 0U);
  EXPECT_EQ(static_cast<std::size_t>(std::ranges::count(image(), 'x')), writes.kept);
}

TEST_F(WriteLog, ChoosesTheSameForTheSameSeed) {
  for (std::uint64_t i = 0; i < 8; ++i) {
    write(i, 'x');
  }
  replay(7);
  const std::string first = image();
  writeFile(folder / "image", std::string(8 * kSector, '-'));
  replay(7);
  EXPECT_EQ(image(), first);
}

TEST_F(WriteLog, NeverLosesWhatWasForcedThrough) {
  for (std::uint64_t i = 0; i < 8; ++i) {
    write(i, 'x', kForced);
  }
  EXPECT_EQ(replay().lost, 0U);
  EXPECT_EQ(image(), "xxxxxxxx");
}

TEST_F(WriteLog, PassesOverWhatWasDiscarded) {
  log += sectorOf({0, 4, kDiscard, 0});
  write(5, 'y');
  flush();
  replay();
  EXPECT_EQ(image(), "-----y--");
}

TEST_F(WriteLog, EndsWhereARecordIsCutOff) {
  write(1, 'a');
  flush();
  write(3, 'b', kForced);
  log.resize(log.size() - 1);
  replay();
  EXPECT_EQ(image(), "-a------");
}

TEST_F(WriteLog, MayBeEmptyAndWithoutItsHead) {
  log.clear();
  EXPECT_EQ(replay().flushed, 0U);
  log = sectorOf({});
  write(1, 'a', kForced);
  replay();
  EXPECT_EQ(image(), "-a------");
}

TEST_F(WriteLog, OfAnotherFormatIsRefused) {
  log = sectorOf({42});
  EXPECT_THROW(replay(), Problem);
}

}  // namespace
}  // namespace marrow::rehearsal
