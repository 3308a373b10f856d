// The one formatting function of the log and of error texts. A format is checked against its
// arguments when the program is compiled:
//
//   %@    anything that has a description: text, an optional or a pointer (absent prints "(null)"),
//         a list (prints "(a, b)"), anything with `std::string description() const`
//   %s    text: std::string, std::string_view or const char* (null prints "(null)")
//   %d    a signed integer of at most 32 bits
//   %u    an unsigned integer of at most 32 bits
//   %lu, %llu  an unsigned integer of 64 bits
//   %%    a percent sign
//
// An annotation in braces may stand before a conversion (%{tarn.errno}d) and changes nothing.
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace marrow {

// What %@ prints.
inline std::string describe(const std::string& text) { return text; }
inline std::string describe(std::string&& text) { return std::move(text); }
inline std::string describe(std::string_view text) { return std::string(text); }
inline std::string describe(const char* text) { return text == nullptr ? "(null)" : text; }

template <typename Object>
requires requires(const Object& object) {
  { object.description() } -> std::convertible_to<std::string>;
}
std::string describe(const Object& object) { return object.description(); }

template <typename Object>
std::string describe(const std::optional<Object>& object);
template <typename Object>
std::string describe(std::optional<Object>&& object);
template <typename Object>
std::string describe(const std::shared_ptr<Object>& object);
template <typename Object>
std::string describe(const std::vector<Object>& objects);

template <typename Object>
std::string describe(const std::optional<Object>& object) {
  return object ? describe(*object) : "(null)";
}

template <typename Object>
std::string describe(std::optional<Object>&& object) {
  return object ? describe(*std::move(object)) : "(null)";
}

template <typename Object>
std::string describe(const std::shared_ptr<Object>& object) {
  return object ? describe(*object) : "(null)";
}

template <typename Object>
std::string describe(const std::vector<Object>& objects) {
  std::string text = "(";
  const char* separator = "";
  for (const Object& object : objects) {
    text += separator + describe(object);
    separator = ", ";
  }
  return text + ")";
}

// How an argument may be printed.
enum class ArgumentKind : std::uint8_t { object, text, signed32, unsigned32, unsigned64 };

template <typename Argument>
consteval ArgumentKind argumentKind() {
  using Plain = std::remove_cvref_t<Argument>;
  if constexpr (std::is_convertible_v<Plain, std::string_view>) {
    return ArgumentKind::text;
  } else if constexpr (std::signed_integral<Plain> && sizeof(Plain) <= sizeof(std::int32_t)) {
    return ArgumentKind::signed32;
  } else if constexpr (std::unsigned_integral<Plain> && sizeof(Plain) <= sizeof(std::uint32_t)) {
    return ArgumentKind::unsigned32;
  } else if constexpr (std::unsigned_integral<Plain>) {
    return ArgumentKind::unsigned64;
  } else {
    return ArgumentKind::object;
  }
}

// One conversion of a format: where it ends, and what it takes.
struct Conversion {
  std::size_t begin;  // of the percent sign; npos when there is none left
  std::size_t end;    // one past the last character
  std::string_view letters;
};

constexpr Conversion nextConversion(std::string_view format, std::size_t from) {
  const std::size_t begin = format.find('%', from);
  if (begin == std::string_view::npos) {
    return {begin, begin, {}};
  }
  std::size_t at = begin + 1;
  if (at < format.size() && format[at] == '{') {
    at = format.find('}', at);
    at = at == std::string_view::npos ? format.size() : at + 1;
  }
  std::size_t end = at;
  while (end < format.size() && format[end] == 'l') {
    ++end;
  }
  end = end < format.size() ? end + 1 : end;
  return {begin, end, format.substr(at, end - at)};
}

constexpr bool accepts(std::string_view letters, ArgumentKind kind) {
  switch (kind) {
    case ArgumentKind::object:
      return letters == "@";
    case ArgumentKind::text:
      return letters == "@" || letters == "s";
    case ArgumentKind::signed32:
      return letters == "d";
    case ArgumentKind::unsigned32:
      return letters == "u";
    case ArgumentKind::unsigned64:
      return letters == "lu" || letters == "llu";
  }
  return false;
}

// A format that fits arguments of these types; any other does not compile.
template <typename... Arguments>
class FormatString {
 public:
  template <std::size_t Size>
  consteval FormatString(const char (&format)[Size])  // NOLINT(google-explicit-constructor)
      : _format(format, Size - 1) {
    check();
  }

  std::string_view text() const { return _format; }

 private:
  consteval void check() const {
    constexpr std::size_t count = sizeof...(Arguments);
    constexpr std::array<ArgumentKind, count + 1> kinds = {argumentKind<Arguments>()...,
                                                           ArgumentKind::object};
    std::size_t used = 0;
    for (Conversion next = nextConversion(_format, 0); next.begin != std::string_view::npos;
         next = nextConversion(_format, next.end)) {
      if (next.letters == "%") {
        continue;
      }
      if (used == count || !accepts(next.letters, kinds[used])) {
        throw "a conversion of the format does not fit its argument";
      }
      ++used;
    }
    if (used != count) {
      throw "the format leaves an argument out";
    }
  }

  std::string_view _format;
};

// Puts the printed arguments in the places of the format's conversions, in order. It takes them
// over: one that has room for the whole is not copied.
std::string substitute(std::string_view format, std::span<std::string> arguments);

template <typename Argument>
std::string print(Argument&& argument) {
  if constexpr (std::integral<std::remove_cvref_t<Argument>>) {
    return std::to_string(argument);
  } else {
    return describe(std::forward<Argument>(argument));
  }
}

// A text that is moved in is not copied first.
template <typename... Arguments>
std::string formatText(FormatString<std::type_identity_t<Arguments>...> format,
                       Arguments&&... arguments) {
  std::array<std::string, sizeof...(Arguments)> printed = {
      print(std::forward<Arguments>(arguments))...};
  return substitute(format.text(), printed);
}

}  // namespace marrow
