// Reads XML property lists: the root element `plist` of version 1.0 around one dictionary.
#pragma once

#include "host/property_list.h"

#include <optional>
#include <string>
#include <string_view>

namespace marrow {

// The most that a file may hold, and how deep dictionaries and arrays may nest.
inline constexpr std::size_t kPropertyListSizeLimit = std::size_t{64} << 20U;
inline constexpr int kPropertyListDepthLimit = 512;

// Absent when the text is malformed, with line and reason in `problem`. Only the five entities of
// XML and references to characters are known. A document type is skipped, unless it declares
// anything itself. A key that is there twice has its last value.
std::optional<PropertyListDictionary> readPropertyList(std::string_view text, std::string& problem);

}  // namespace marrow
