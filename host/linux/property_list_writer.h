// Writes property lists as XML that property_list_reader.h reads back as the same values.
#pragma once

#include "host/property_list.h"

#include <optional>
#include <string>

namespace marrow {

// Absent with the reason in `problem` when XML cannot hold a text, a real or a date is none, or the
// outcome would be beyond the limits of the reader.
std::optional<std::string> writePropertyList(const PropertyListDictionary& dictionary,
                                             std::string& problem);

}  // namespace marrow
