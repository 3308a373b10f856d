#include "host/linux/journal_entry.h"

#include <cstddef>
#include <cstdint>

namespace marrow {

namespace {

std::string littleEndian(std::uint64_t number) {
  std::string bytes;
  for (std::size_t count = 0; count < sizeof(number); ++count) {
    bytes += static_cast<char>(number & 0xFFU);
    number >>= 8U;
  }
  return bytes;
}

}  // namespace

// A value ends with its line, unless its length is told ahead of it.
void JournalEntry::add(std::string_view field, std::string_view value) {
  _bytes += field;
  if (value.find('\n') == std::string_view::npos) {
    _bytes += '=';
  } else {
    _bytes += '\n';
    _bytes += littleEndian(value.size());
  }
  _bytes += value;
  _bytes += '\n';
}

}  // namespace marrow
