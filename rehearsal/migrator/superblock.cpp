#include "rehearsal/migrator/superblock.h"

#include <bit>

namespace marrow::migrator {
namespace {

constexpr std::uint64_t kSmallestBlock = 512;
constexpr std::uint64_t kLargestBlock = 65536;

enum class Order { kLittleEndian, kBigEndian };

std::uint64_t number(std::string_view bytes, std::size_t offset, std::size_t width, Order order) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < width; ++i) {
    const std::size_t place = order == Order::kBigEndian ? i : width - 1 - i;
    value = value << 8U | static_cast<unsigned char>(bytes[offset + place]);
  }
  return value;
}

std::uint64_t little(std::string_view bytes, std::size_t offset, std::size_t width) {
  return number(bytes, offset, width, Order::kLittleEndian);
}

std::uint64_t big(std::string_view bytes, std::size_t offset, std::size_t width) {
  return number(bytes, offset, width, Order::kBigEndian);
}

std::optional<Superblock> readExt4(std::string_view start) {
  constexpr std::size_t kPlace = 0x400;
  constexpr std::uint64_t kMagic = 0xEF53;
  constexpr std::uint64_t k64Bit = 0x80;
  constexpr std::uint64_t kLargestShift = 6;
  if (little(start, kPlace + 0x38, 2) != kMagic) {
    return std::nullopt;
  }
  const std::uint64_t shift = little(start, kPlace + 0x18, 4);
  std::uint64_t blocks = little(start, kPlace + 0x4, 4);
  if ((little(start, kPlace + 0x60, 4) & k64Bit) != 0) {
    blocks |= little(start, kPlace + 0x150, 4) << 32U;
  }
  const std::uint64_t block = shift > kLargestShift ? 0 : std::uint64_t{1024} << shift;
  return Superblock{"ext4", block, blocks * block};
}

std::optional<Superblock> readBtrfs(std::string_view start) {
  constexpr std::size_t kPlace = 0x10000;
  if (start.substr(kPlace + 0x40, 8) != "_BHRfS_M") {
    return std::nullopt;
  }
  return Superblock{"btrfs", little(start, kPlace + 0x90, 4), little(start, kPlace + 0x70, 8)};
}

std::optional<Superblock> readXfs(std::string_view start) {
  if (!start.starts_with("XFSB")) {
    return std::nullopt;
  }
  const std::uint64_t block = big(start, 4, 4);
  return Superblock{"xfs", block, big(start, 8, 8) * block};
}

// Of an encrypted volume no more is told than its header.
std::optional<Superblock> readLuks2(std::string_view start) {
  if (!start.starts_with(std::string_view("LUKS\xba\xbe\0\2", 8))) {
    return std::nullopt;
  }
  return Superblock{"luks2", 4096, big(start, 8, 8)};
}

}  // namespace

std::optional<Superblock> readSuperblock(std::string_view start) {
  if (start.size() < kSuperblockArea) {
    return std::nullopt;
  }
  for (const auto read : {readXfs, readLuks2, readBtrfs, readExt4}) {
    if (auto found = read(start)) {
      return found;
    }
  }
  return std::nullopt;
}

std::string complaintAbout(const Superblock& superblock, std::uint64_t volumeSize) {
  if (superblock.blockSize < kSmallestBlock || superblock.blockSize > kLargestBlock ||
      !std::has_single_bit(superblock.blockSize)) {
    return "The superblock names a block size of " + std::to_string(superblock.blockSize) +
           " bytes.";
  }
  if (superblock.size == 0 || superblock.size > volumeSize) {
    return "The superblock names a size of " + std::to_string(superblock.size) +
           " bytes on a volume of " + std::to_string(volumeSize) + ".";
  }
  return {};
}

}  // namespace marrow::migrator
