// What the header of an encrypted volume says of the stashed key, read without the libraries that
// the daemon uses.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace marrow::rehearsal {

// So many bytes from the start of a volume hold the first copy of the headers that are made here.
inline constexpr std::size_t kLuksHeaderArea = std::size_t{16} * 1024;

struct LuksHeader {
  // Where the encrypted bytes begin.
  std::uint64_t dataOffset = 0;
  // The state of the first token of type marrow-stash; empty without one.
  std::string stashState;
};

// Reads the start of a volume; nothing where no LUKS2 header is. Offsets: the on-disk format of
// LUKS2, whose text follows a binary part of 4096 bytes and ends before a zero byte.
std::optional<LuksHeader> readLuksHeader(std::string_view start);

}  // namespace marrow::rehearsal
