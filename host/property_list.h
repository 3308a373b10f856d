// Property lists as values: what a dictionary on disk holds, each value of the type that it was
// read with, dictionaries in the order in which they were read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace marrow {

class PropertyListValue;

using PropertyListArray = std::vector<PropertyListValue>;
using PropertyListData = std::vector<std::byte>;

// A real and a date keep the text they were read with, so that they are written back unchanged.
struct PropertyListReal {
  std::string text;
  bool operator==(const PropertyListReal&) const = default;
};
struct PropertyListDate {
  std::string text;
  bool operator==(const PropertyListDate&) const = default;
};

struct PropertyListEntry;

// Keys are unique.
class PropertyListDictionary {
 public:
  PropertyListDictionary() = default;

  // The caller sees to it that no key is there twice.
  explicit PropertyListDictionary(std::vector<PropertyListEntry> entries);

  const std::vector<PropertyListEntry>& entries() const { return _entries; }
  bool empty() const { return _entries.empty(); }

  // Null when the key is missing.
  const PropertyListValue* find(std::string_view key) const;
  PropertyListValue* find(std::string_view key);

  // Takes the place of the entry with this key, or is added at the end.
  void set(std::string key, PropertyListValue value);

 private:
  std::vector<PropertyListEntry> _entries;
};

// The same entries in the same order.
bool operator==(const PropertyListDictionary& left, const PropertyListDictionary& right);

template <typename Type, typename Variant>
struct IsAlternative;
template <typename Type, typename... Alternatives>
struct IsAlternative<Type, std::variant<Alternatives...>>
    : std::disjunction<std::is_same<Type, Alternatives>...> {};

class PropertyListValue {
 public:
  // An integer is held signed where it fits, so that equal numbers are equal values.
  using Storage =
      std::variant<bool, std::int64_t, std::uint64_t, PropertyListReal, std::string,
                   PropertyListData, PropertyListDate, PropertyListArray, PropertyListDictionary>;

  // From a value of one of these very types.
  template <typename Type, typename = std::enable_if_t<IsAlternative<Type, Storage>::value>>
  PropertyListValue(Type value)  // NOLINT(google-explicit-constructor)
      : _storage(std::move(value)) {}

  // Null when the value is of another type.
  template <typename Type>
  const Type* as() const;
  template <typename Type>
  Type* as();

  const Storage& storage() const { return _storage; }

  // True for true, a number that is not 0, and a string that begins with Y, y, T, t or 1 to 9.
  bool truthValue() const;

  bool operator==(const PropertyListValue&) const = default;

 private:
  Storage _storage;
};

struct PropertyListEntry {
  std::string key;
  PropertyListValue value;

  bool operator==(const PropertyListEntry&) const = default;
};

template <typename Type>
const Type* PropertyListValue::as() const {
  return std::get_if<Type>(&_storage);
}

template <typename Type>
Type* PropertyListValue::as() {
  return std::get_if<Type>(&_storage);
}

}  // namespace marrow
