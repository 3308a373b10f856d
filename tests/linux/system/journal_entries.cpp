#include "tests/linux/system/journal_entries.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <utility>

namespace marrow {

namespace {

std::string_view take(std::string_view& bytes, std::size_t count) {
  EXPECT_LE(count, bytes.size()) << "the entry ends too early";
  const std::string_view taken = bytes.substr(0, count);
  bytes.remove_prefix(taken.size());
  return taken;
}

// The length of the value whose field's name has ended with this byte.
std::size_t takeLength(std::string_view& bytes, char nameEnd) {
  if (nameEnd == '=') {
    return std::min(bytes.find('\n'), bytes.size());
  }
  std::uint64_t length = 0;
  const std::string_view number = take(bytes, sizeof(length));
  std::memcpy(&length, number.data(), number.size());
  return length;
}

std::pair<std::string, std::string> takeField(std::string_view& bytes) {
  const std::string name(take(bytes, std::min(bytes.find_first_of("=\n"), bytes.size())));
  const std::string_view nameEnd = take(bytes, 1);
  const std::size_t length = takeLength(bytes, nameEnd.empty() ? '=' : nameEnd.front());
  const std::string value(take(bytes, length));
  EXPECT_EQ(take(bytes, 1), "\n") << name << " has no end";
  return {name, value};
}

// The fields up to an empty line or the end.
JournalFields takeEntry(std::string_view& bytes) {
  JournalFields entry;
  while (!bytes.empty() && bytes.front() != '\n' && !testing::Test::HasFailure()) {
    const auto field = takeField(bytes);
    EXPECT_TRUE(entry.insert(field).second) << field.first << " comes twice";
  }
  return entry;
}

}  // namespace

JournalFields parseJournalEntry(std::string_view bytes) {
  JournalFields entry = takeEntry(bytes);
  EXPECT_TRUE(bytes.empty()) << "more than an entry";
  return entry;
}

std::vector<JournalFields> parseJournalExport(std::string_view bytes) {
  std::vector<JournalFields> entries;
  while (!bytes.empty() && !testing::Test::HasFailure()) {
    entries.push_back(takeEntry(bytes));
    take(bytes, 1);
  }
  return entries;
}

}  // namespace marrow
