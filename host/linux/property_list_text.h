// The texts inside a property list's elements.
#pragma once

#include "host/property_list.h"

#include <optional>
#include <string>
#include <string_view>

namespace marrow {

// The text without white space (blank, tab, line feed, carriage return) at both ends.
std::string_view trimWhiteSpace(std::string_view text);

// Decimal, or hexadecimal after 0x, with an optional sign, from -2^63 to 2^64 - 1.
std::optional<PropertyListValue> integerFromText(std::string_view text);

bool isRealText(std::string_view text);  // also nan and infinity
bool isDateText(std::string_view text);  // YYYY-MM-DDTHH:MM:SSZ

// RFC 4648, section 4; white space is skipped, the padding is required.
std::optional<PropertyListData> dataFromBase64(std::string_view text);
std::string base64FromData(const PropertyListData& data);

}  // namespace marrow
