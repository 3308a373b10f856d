// Entries of a journal as the native protocol (https://systemd.io/JOURNAL_NATIVE_PROTOCOL) and the
// export format (https://systemd.io/JOURNAL_EXPORT_FORMATS) both write them.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace marrow {

using JournalFields = std::map<std::string, std::string>;  // values by field

// One entry. What is none, or has a field twice, fails the test.
JournalFields parseJournalEntry(std::string_view bytes);

// Entries, each ended by an empty line.
std::vector<JournalFields> parseJournalExport(std::string_view bytes);

}  // namespace marrow
