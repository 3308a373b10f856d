#include "host/linux/property_list_reader.h"

#include "host/linux/property_list_elements.h"
#include "host/linux/property_list_text.h"
#include "host/linux/xml_text.h"
#include "host/text_format.h"

#include <algorithm>
#include <cstdint>
#include <pugixml.hpp>
#include <utility>

namespace marrow {

namespace {

// References are left as they are, for appendXMLContent to refuse what pugixml lets pass; white
// space belongs to strings; and what stands outside the root is kept, so that it can be refused.
constexpr unsigned kParsing = pugi::parse_cdata | pugi::parse_eol | pugi::parse_ws_pcdata |
                              pugi::parse_doctype | pugi::parse_declaration | pugi::parse_fragment;

bool isKnownEncoding(std::string_view name) {
  std::string lower(name);
  std::transform(lower.begin(), lower.end(), lower.begin(), [](char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a')
                                                : character;
  });
  return lower.empty() || lower == "utf-8" || lower == "us-ascii";
}

// Why the node may not stand at the top of a document; null when it may.
const char* reasonAgainst(const pugi::xml_node& node, bool hasRoot) {
  switch (node.type()) {
    case pugi::node_doctype:
      return hasInternalSubset(node.value()) ? "a document type with its own declarations"
                                             : nullptr;
    case pugi::node_declaration:
      return isKnownEncoding(node.attribute("encoding").value()) ? nullptr
                                                                 : "an encoding other than UTF-8";
    case pugi::node_element:
      return hasRoot ? "a second root element" : nullptr;
    default:
      return trimWhiteSpace(node.value()).empty() ? nullptr : "text outside the root element";
  }
}

// The one element of the document; none with the problem told.
pugi::xml_node rootOf(const pugi::xml_document& document, PropertyListElements& elements) {
  pugi::xml_node root;
  for (const pugi::xml_node& node : document.children()) {
    if (const char* reason = reasonAgainst(node, !root.empty())) {
      elements.fail(node, reason);
      return {};
    }
    root = node.type() == pugi::node_element ? node : root;
  }
  if (std::string_view(root.name()) != "plist") {
    elements.fail(root, "the root element is not <plist>");
    return {};
  }
  return root;
}

bool isVersionOne(const pugi::xml_node& root) {
  const pugi::xml_attribute version = root.first_attribute();
  return std::string_view(version.name()) == "version" &&
         std::string_view(version.value()) == "1.0" && !version.next_attribute();
}

std::optional<PropertyListDictionary> dictionaryOf(const pugi::xml_document& document,
                                                   PropertyListElements& elements) {
  const pugi::xml_node root = rootOf(document, elements);
  if (!root) {
    return std::nullopt;
  }
  if (!isVersionOne(root)) {
    return elements.fail(root, "<plist> is not of version 1.0");
  }
  const auto children = elements.elements(root);
  if (!children) {
    return std::nullopt;
  }
  auto value = children->size() == 1 ? elements.value((*children)[0], 1) : std::nullopt;
  auto* dictionary = value ? value->as<PropertyListDictionary>() : nullptr;
  if (dictionary == nullptr) {
    return elements.fail(root, "the root value is not one dictionary");
  }
  return std::move(*dictionary);
}

std::optional<PropertyListDictionary> parse(std::string_view text, XMLProblem& problem) {
  const std::size_t valid = firstLineOutsideXML(text);
  if (valid != text.size()) {
    problem = {static_cast<std::ptrdiff_t>(valid), "not XML text in UTF-8"};
    return std::nullopt;
  }
  pugi::xml_document document;
  const auto result = document.load_buffer(text.data(), text.size(), kParsing, pugi::encoding_utf8);
  if (!result) {
    problem = {result.offset, result.description()};
    return std::nullopt;
  }
  PropertyListElements elements;
  auto dictionary = dictionaryOf(document, elements);
  problem = elements.problem();
  return dictionary;
}

std::string describeProblem(const XMLProblem& problem, std::string_view text) {
  const auto offset = static_cast<std::size_t>(std::max<std::ptrdiff_t>(problem.offset, 0));
  const std::string_view before = text.substr(0, offset);
  const auto line = static_cast<std::uint64_t>(std::count(before.begin(), before.end(), '\n')) + 1;
  return formatText("line %lu: %s", line, problem.reason);
}

}  // namespace

std::optional<PropertyListDictionary> readPropertyList(std::string_view text,
                                                       std::string& problem) {
  if (text.size() > kPropertyListSizeLimit) {
    problem = "larger than 64 MiB";
    return std::nullopt;
  }
  XMLProblem found;
  auto dictionary = parse(text, found);
  if (!dictionary) {
    problem = describeProblem(found, text);
  }
  return dictionary;
}

}  // namespace marrow
