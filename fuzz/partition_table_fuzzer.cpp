// A disk in memory with a partition table: the input is the header of a GPT (92 bytes) and its
// entries. The checksums are put right, so that what they cover is reached, unless the first byte
// of the input is 0.
#include "fuzz/fuzz.h"
#include "host/linux/loam_containers.h"
#include "host/linux/partition_table.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

using namespace marrow;

namespace {

// UEFI 2.10, section 5.
constexpr std::size_t kSector = 512;
constexpr std::size_t kSectors = 128;
constexpr std::size_t kHeaderLength = 92;
constexpr std::size_t kHeaderChecksum = 16;
constexpr std::size_t kOwnPlace = 24;
constexpr std::size_t kEntriesPlace = 72;
constexpr std::size_t kEntryCount = 80;
constexpr std::size_t kEntryLength = 84;
constexpr std::size_t kEntriesChecksum = 88;

std::uint32_t crc32(std::string_view bytes) {
  std::uint32_t sum = ~0U;
  for (const char c : bytes) {
    sum ^= static_cast<std::uint8_t>(c);
    for (int bit = 0; bit < 8; ++bit) {
      sum = (sum >> 1U) ^ ((sum & 1U) != 0 ? 0xEDB88320U : 0U);
    }
  }
  return ~sum;
}

template <typename Number>
void put(std::string& disk, std::size_t at, Number number) {
  std::memcpy(disk.data() + at, &number, sizeof(number));
}

std::uint32_t numberAt(const std::string& disk, std::size_t at) {
  std::uint32_t number = 0;
  std::memcpy(&number, disk.data() + at, sizeof(number));
  return number;
}

// A master boot record that protects the whole disk.
void putProtection(std::string& disk) {
  disk[446 + 4] = '\xEE';
  put(disk, 446 + 8, 1U);
  put(disk, 446 + 12, static_cast<std::uint32_t>(kSectors - 1));
  disk[510] = '\x55';
  disk[511] = '\xAA';
}

void putChecksums(std::string& disk) {
  const std::uint64_t length =
      std::uint64_t{numberAt(disk, kSector + kEntryCount)} * numberAt(disk, kSector + kEntryLength);
  put(disk, kSector + kOwnPlace, std::uint64_t{1});
  put(disk, kSector + kEntriesPlace, std::uint64_t{2});
  const auto entries = std::string_view(disk).substr(2 * kSector, length);
  put(disk, kSector + kEntriesChecksum, crc32(entries));
  put(disk, kSector + kHeaderChecksum, 0U);
  put(disk, kSector + kHeaderChecksum,
      crc32(std::string_view(disk).substr(kSector, kHeaderLength)));
}

std::string diskWith(std::string_view input) {
  std::string disk(kSector * kSectors, '\0');
  putProtection(disk);
  const std::string_view header = input.substr(0, kHeaderLength);
  const std::string_view entries = input.substr(header.size(), disk.size() - 2 * kSector);
  std::copy(header.begin(), header.end(), disk.begin() + kSector);
  std::copy(entries.begin(), entries.end(), disk.begin() + 2 * kSector);
  if (input.starts_with('\0')) {
    return disk;
  }
  putChecksums(disk);
  return disk;
}

void checkEntries(const std::vector<PartitionEntry>& entries) {
  unsigned last = 0;
  for (const PartitionEntry& entry : entries) {
    expect(entry.number > last, "numbers rise from 1");
    last = entry.number;
    expect(isUUID(entry.type), "a type is a UUID");
    expect(std::none_of(entry.type.begin(), entry.type.end(),
                        [](char c) { return c >= 'A' && c <= 'F'; }),
           "a type is in lower case");
    expect(entry.name.find('\0') == std::string::npos && entry.name.size() <= 36 * 3,
           "a name is at most 36 characters");
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const int file = ::memfd_create("disk", MFD_CLOEXEC);
  const std::string disk = diskWith(fuzzText(data, size));
  expect(::pwrite(file, disk.data(), disk.size(), 0) == static_cast<ssize_t>(disk.size()),
         "the disk can be written");
  errno = 0;
  const auto entries = readPartitionTable("/proc/self/fd/" + std::to_string(file));
  if (!entries) {
    expect(errno != 0, "a table, or a reason why there is none");
    return 0;
  }
  checkEntries(*entries);
  return 0;
}
