#include "host/linux/xml_text.h"

#include "host/unicode.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <utility>

namespace marrow {

namespace {

bool isXMLCharacter(std::uint32_t character) {
  if (character < 0x20) {
    return character == '\t' || character == '\n' || character == '\r';
  }
  const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
  return !surrogate && character != 0xFFFE && character != 0xFFFF && character <= 0x10FFFF;
}

// Whether well-formed text begins with a character that XML forbids.
bool beginsForbidden(std::string_view text) {
  const auto first = static_cast<unsigned char>(text.front());
  return first < 0x20 ? !isXMLCharacter(first)
                      : text.starts_with("\xEF\xBF\xBE") || text.starts_with("\xEF\xBF\xBF");
}

std::string utf8(std::uint32_t character) {
  const auto tail = [&](unsigned shift) {
    return static_cast<char>(0x80U | ((character >> shift) & 0x3FU));
  };
  if (character < 0x80) {
    return {static_cast<char>(character)};
  }
  if (character < 0x800) {
    return {static_cast<char>(0xC0U | (character >> 6U)), tail(0)};
  }
  if (character < 0x10000) {
    return {static_cast<char>(0xE0U | (character >> 12U)), tail(6), tail(0)};
  }
  return {static_cast<char>(0xF0U | (character >> 18U)), tail(12), tail(6), tail(0)};
}

// After "#": decimal, or hexadecimal after "x".
std::optional<std::string> characterReference(std::string_view digits) {
  const bool hexadecimal = digits.starts_with('x');
  digits.remove_prefix(hexadecimal ? 1 : 0);
  std::uint32_t character = 0;
  const char* end = digits.data() + digits.size();
  const auto result = std::from_chars(digits.data(), end, character, hexadecimal ? 16 : 10);
  if (result.ec != std::errc() || result.ptr != end || !isXMLCharacter(character)) {
    return std::nullopt;
  }
  return utf8(character);
}

// What stands for "&NAME;".
std::optional<std::string> reference(std::string_view name) {
  constexpr std::array<std::pair<std::string_view, char>, 5> kEntities = {
      {{"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}}};
  if (name.starts_with('#')) {
    return characterReference(name.substr(1));
  }
  const auto* const found = std::find_if(kEntities.begin(), kEntities.end(),
                                         [&](const auto& entity) { return entity.first == name; });
  return found == kEntities.end() ? std::nullopt : std::optional(std::string(1, found->second));
}

}  // namespace

bool isXMLText(std::string_view text) {
  if (!isValidUTF8(text)) {
    return false;
  }
  for (; !text.empty(); text.remove_prefix(1)) {
    if (beginsForbidden(text)) {
      return false;
    }
  }
  return true;
}

std::size_t firstLineOutsideXML(std::string_view text) {
  std::size_t begin = 0;
  while (begin < text.size()) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    if (!isXMLText(text.substr(begin, end - begin))) {
      return begin;
    }
    begin = end + 1;
  }
  return text.size();
}

bool appendXMLContent(std::string_view content, std::string& text) {
  for (;;) {
    const std::size_t ampersand = std::min(content.find('&'), content.size());
    text += content.substr(0, ampersand);
    if (ampersand == content.size()) {
      return true;
    }
    content.remove_prefix(ampersand + 1);
    const std::size_t end = content.find(';');
    const auto meaning =
        end == std::string_view::npos ? std::nullopt : reference(content.substr(0, end));
    if (!meaning) {
      return false;
    }
    text += *meaning;
    content.remove_prefix(end + 1);
  }
}

std::string xmlContent(std::string_view text) {
  std::string content;
  content.reserve(text.size());
  for (const char character : text) {
    switch (character) {
      case '&':
        content += "&amp;";
        break;
      case '<':
        content += "&lt;";
        break;
      case '>':
        content += "&gt;";
        break;
      case '\r':
        content += "&#13;";
        break;
      default:
        content += character;
    }
  }
  return content;
}

bool hasInternalSubset(std::string_view documentType) {
  char quote = '\0';
  for (const char character : documentType) {
    if (quote != '\0') {
      quote = character == quote ? '\0' : quote;
    } else if (character == '"' || character == '\'') {
      quote = character;
    } else if (character == '[') {
      return true;
    }
  }
  return false;
}

}  // namespace marrow
