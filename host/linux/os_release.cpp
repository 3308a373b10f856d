#include "host/linux/os_release.h"

#include <algorithm>

namespace marrow {

namespace {

constexpr std::string_view kSpaces = " \t\r";
constexpr std::string_view kNameCharacters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_";

void skip(std::string_view& text, std::string_view characters) {
  text.remove_prefix(std::min(text.find_first_not_of(characters), text.size()));
}

void skipLine(std::string_view& text) {
  text.remove_prefix(std::min(text.find('\n'), text.size() - 1) + 1);
}

// What a backslash and the character behind it stand for. Within double quotes it takes the
// meaning from a few characters only; a line end behind it vanishes.
std::string escaped(char c, bool inDoubleQuotes) {
  if (c == '\n') {
    return {};
  }
  const bool special = std::string_view("$`\"\\").find(c) != std::string_view::npos;
  return inDoubleQuotes && !special ? std::string{'\\', c} : std::string{c};
}

// One word of a shell's, taken off the text. Absent when a quote in it is not closed.
std::optional<std::string> takeValue(std::string_view& text) {
  std::string word;
  char quote = '\0';
  while (!text.empty() && (quote != '\0' || std::string_view(" \t\r\n").find(text.front()) ==
                                                std::string_view::npos)) {
    const char c = text.front();
    text.remove_prefix(1);
    if (c == '\\' && quote != '\'' && !text.empty()) {
      word += escaped(text.front(), quote == '"');
      text.remove_prefix(1);
    } else if (c == quote) {
      quote = '\0';
    } else if (quote == '\0' && (c == '"' || c == '\'')) {
      quote = c;
    } else {
      word += c;
    }
  }
  return quote == '\0' ? std::optional(word) : std::nullopt;
}

// The value that the text begins with, which must be alone on its line. The fault of a value is the
// fault of the line that it begins on.
std::optional<std::string> takeWholeValue(std::string_view& text) {
  std::string_view rest = text;
  auto value = takeValue(rest);
  skip(rest, kSpaces);
  if (!value || !(rest.empty() || rest.front() == '\n' || rest.front() == '#')) {
    return std::nullopt;
  }
  text = rest;
  return value;
}

}  // namespace

std::optional<std::string> osReleaseValue(std::string_view text, std::string_view name) {
  std::optional<std::string> found;
  while (!text.empty()) {
    skip(text, kSpaces);
    const std::string_view key =
        text.substr(0, std::min(text.find_first_not_of(kNameCharacters), text.size()));
    text.remove_prefix(key.size());
    if (!key.empty() && text.starts_with('=')) {
      text.remove_prefix(1);
      auto value = takeWholeValue(text);
      found = value && key == name ? value : found;
    }
    if (!text.empty()) {
      skipLine(text);
    }
  }
  return found;
}

}  // namespace marrow
