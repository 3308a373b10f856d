#include "rehearsal/shadow_file.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <pugixml.hpp>

namespace marrow::rehearsal {
namespace {

constexpr const char* kMetrics = "OTA-migrator-metrics";
constexpr const char* kInner = "brask-file-only-vars";

std::optional<std::string> takeText(pugi::xml_node dictionary, const char* key) {
  const pugi::xml_node value = valueOf(dictionary, key);
  if (!value) {
    return std::nullopt;
  }
  std::string text = value.child_value();
  dictionary.remove_child(value.previous_sibling());
  dictionary.remove_child(value);
  return text;
}

std::string withoutSpace(std::string text) {
  std::erase_if(text, [](unsigned char c) { return std::isspace(c) != 0; });
  return text;
}

std::string canonical(const pugi::xml_node& value);

// The order of the keys means nothing.
std::string canonicalDictionary(const pugi::xml_node& dictionary) {
  std::map<std::string, std::string> entries;
  for (const pugi::xml_node& key : dictionary.children("key")) {
    entries[key.child_value()] = canonical(key.next_sibling());
  }
  std::string text;
  for (const auto& [key, value] : entries) {
    text.append(key).append(1, '=').append(value).append(1, ';');
  }
  return text;
}

std::string canonical(const pugi::xml_node& value) {
  const std::string type = value.name();
  if (type == "dict") {
    return type + '{' + canonicalDictionary(value) + '}';
  }
  if (type == "array") {
    std::string text = type + '[';
    for (const pugi::xml_node& element : value.children()) {
      text += canonical(element) + ',';
    }
    return text + ']';
  }
  const std::string content = value.child_value();
  return type + ':' + (type == "string" ? content : withoutSpace(content));
}

}  // namespace

pugi::xml_node valueOf(const pugi::xml_node& dictionary, const std::string& key) {
  for (const pugi::xml_node& candidate : dictionary.children("key")) {
    if (key == candidate.child_value()) {
      return candidate.next_sibling();
    }
  }
  return {};
}

ShadowFile readShadowFile(const std::filesystem::path& file) {
  pugi::xml_document document;
  if (!document.load_file(file.c_str(), pugi::parse_default | pugi::parse_ws_pcdata_single)) {
    return {};
  }
  const pugi::xml_node dictionary = document.child("plist").child("dict");
  ShadowFile shadow;
  shadow.metrics = takeText(dictionary, kMetrics);
  shadow.hasInner = std::string_view(valueOf(dictionary, kInner).name()) == "dict";
  shadow.innerMetrics = takeText(valueOf(dictionary, kInner), kMetrics);
  shadow.everythingElse = canonical(dictionary);
  return shadow;
}

}  // namespace marrow::rehearsal
