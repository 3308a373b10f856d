#include "host/property_list.h"

#include <algorithm>

namespace marrow {

namespace {

// By what is written, which may be beyond what a double holds. Infinity and nan have letters.
bool isNonZero(const PropertyListReal& real) {
  const std::string_view mantissa =
      std::string_view{real.text}.substr(0, real.text.find_first_of("eE"));
  return mantissa.find_first_not_of("+-.0") != std::string_view::npos;
}

bool readsAsTrue(const std::string& text) {
  constexpr std::string_view kTrueBeginnings = "YyTt123456789";
  return !text.empty() && kTrueBeginnings.find(text.front()) != std::string_view::npos;
}

}  // namespace

PropertyListDictionary::PropertyListDictionary(std::vector<PropertyListEntry> entries)
    : _entries(std::move(entries)) {}

const PropertyListValue* PropertyListDictionary::find(std::string_view key) const {
  const auto found = std::find_if(_entries.begin(), _entries.end(),
                                  [&](const PropertyListEntry& entry) { return entry.key == key; });
  return found == _entries.end() ? nullptr : &found->value;
}

PropertyListValue* PropertyListDictionary::find(std::string_view key) {
  const auto found = std::find_if(_entries.begin(), _entries.end(),
                                  [&](const PropertyListEntry& entry) { return entry.key == key; });
  return found == _entries.end() ? nullptr : &found->value;
}

void PropertyListDictionary::set(std::string key, PropertyListValue value) {
  if (PropertyListValue* present = find(key)) {
    *present = std::move(value);
  } else {
    _entries.push_back({std::move(key), std::move(value)});
  }
}

bool operator==(const PropertyListDictionary& left, const PropertyListDictionary& right) {
  return left.entries() == right.entries();
}

bool PropertyListValue::truthValue() const {
  if (const auto* truth = as<bool>()) {
    return *truth;
  }
  if (const auto* number = as<std::int64_t>()) {
    return *number != 0;
  }
  if (const auto* number = as<std::uint64_t>()) {
    return *number != 0;
  }
  if (const auto* real = as<PropertyListReal>()) {
    return isNonZero(*real);
  }
  const auto* text = as<std::string>();
  return text != nullptr && readsAsTrue(*text);
}

}  // namespace marrow
