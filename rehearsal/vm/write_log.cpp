#include "rehearsal/vm/write_log.h"

#include "rehearsal/descriptor.h"
#include "rehearsal/files.h"
#include "rehearsal/problem.h"

#include <algorithm>
#include <endian.h>
#include <fcntl.h>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace marrow::rehearsal {
namespace {

constexpr std::uint64_t kMagic = 0x6a736677736872;
constexpr std::uint64_t kSector = 512;

enum Flag : std::uint64_t { kFlush = 1, kForced = 2, kDiscard = 4 };

// As the format has them, little-endian, each at the beginning of a sector.
struct Head {
  std::uint64_t magic, version, entries;
  std::uint32_t sectorSize;
};
struct Entry {
  std::uint64_t sector, sectors, flags, dataLength;
};

template <typename Part>
std::optional<Part> readPart(int log, std::uint64_t place) {
  Part part{};
  const ssize_t count = ::pread(log, &part, sizeof part, static_cast<off_t>(place));
  return count == sizeof part ? std::optional(part) : std::nullopt;
}

std::optional<Entry> readEntry(int log, std::uint64_t place) {
  std::optional<Entry> entry = readPart<Entry>(log, place);
  if (entry) {
    for (std::uint64_t* field :
         {&entry->sector, &entry->sectors, &entry->flags, &entry->dataLength}) {
      *field = le64toh(*field);
    }
  }
  return entry;
}

// Until the first flush there is no head.
void requireLog(int log) {
  const std::optional<Head> head = readPart<Head>(log, 0);
  const bool fits = !head || head->magic == 0 ||
                    (le64toh(head->magic) == kMagic && le32toh(head->sectorSize) == kSector);
  if (!fits) {
    throw Problem("QEMU has left a log of the disk's writes that is none.");
  }
}

// What is discarded may read as anything afterwards: it is left as it is.
void doAgain(const LoggedWrite& write, int log, int image) {
  if (write.isDiscard) {
    return;
  }
  std::string bytes(write.length, '\0');
  checked(::pread(log, bytes.data(), bytes.size(), static_cast<off_t>(write.data)), "read the log");
  checked(::pwrite(image, bytes.data(), bytes.size(), static_cast<off_t>(write.place)),
          "write the disk image");
}

LoggedWrite writeOf(const Entry& entry, std::uint64_t data) {
  return {.place = entry.sector * kSector,
          .length = entry.sectors * kSector,
          .data = data,
          .isFlush = (entry.flags & kFlush) != 0,
          .isForced = (entry.flags & kForced) != 0,
          .isDiscard = (entry.flags & kDiscard) != 0};
}

}  // namespace

// The head counts what was there at the last flush: what follows is read as far as it is whole.
std::vector<LoggedWrite> readWriteLog(int log) {
  requireLog(log);
  const auto size = static_cast<std::uint64_t>(checked(::lseek(log, 0, SEEK_END), "read the log"));
  std::vector<LoggedWrite> writes;
  std::uint64_t place = kSector;
  while (const std::optional<Entry> entry = readEntry(log, place)) {
    const LoggedWrite write = writeOf(*entry, place + kSector);
    const std::uint64_t length = write.isDiscard ? 0 : write.length;
    if ((entry->sectors == 0 && entry->flags == 0) || write.data + length > size) {
      break;
    }
    writes.push_back(write);
    place = write.data + length;
  }
  return writes;
}

KeptWrites replayAfterCut(const std::filesystem::path& log, const std::filesystem::path& image,
                          std::uint64_t seed) {
  const Descriptor source = openFile(log, O_RDONLY);
  const Descriptor target = openFile(image, O_WRONLY);
  const std::vector<LoggedWrite> writes = readWriteLog(source.number());
  const auto lastFlush =
      std::ranges::find(writes.rbegin(), writes.rend(), true, &LoggedWrite::isFlush);
  const auto flushed = static_cast<std::size_t>(writes.rend() - lastFlush);
  std::mt19937_64 generator(seed);
  KeptWrites result{.flushed = flushed};
  for (std::size_t i = 0; i < writes.size(); ++i) {
    const bool safe = i < flushed || writes[i].isForced;
    if (!safe && generator() % 2 == 0) {
      ++result.lost;
      continue;
    }
    result.kept += i < flushed ? 0 : 1;
    doAgain(writes[i], source.number(), target.number());
  }
  return result;
}

}  // namespace marrow::rehearsal
