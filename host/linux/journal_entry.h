// Entries of the journal in the form of its native protocol:
// https://systemd.io/JOURNAL_NATIVE_PROTOCOL
#pragma once

#include <string>
#include <string_view>

namespace marrow {

class JournalEntry {
 public:
  // The name of a field is capital letters, digits and underscores, and begins with a letter
  // (systemd.journal-fields(7)); the journal drops any other. A value may hold any bytes.
  void add(std::string_view field, std::string_view value);

  const std::string& bytes() const { return _bytes; }

 private:
  std::string _bytes;
};

}  // namespace marrow
