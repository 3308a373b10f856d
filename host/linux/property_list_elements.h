// The elements of a property list's XML tree as values. Used only by the reader.
#pragma once

#include "host/property_list.h"

#include <cstddef>
#include <optional>
#include <pugixml.hpp>
#include <string>
#include <vector>

namespace marrow {

// What is wrong with a document, and where.
struct XMLProblem {
  std::ptrdiff_t offset = 0;  // bytes
  std::string reason;
};

// Reads one tree. Each function is absent when the tree is malformed there; the problem is the
// first.
class PropertyListElements {
 public:
  // `depth` counts the arrays and dictionaries, the element itself among them.
  std::optional<PropertyListValue> value(const pugi::xml_node& element, int depth);

  // The elements inside another, which may have only white space between them.
  std::optional<std::vector<pugi::xml_node>> elements(const pugi::xml_node& parent);

  // Remembers the problem; there is no value.
  std::nullopt_t fail(const pugi::xml_node& node, std::string reason);

  const XMLProblem& problem() const { return _problem; }

 private:
  std::optional<std::string> text(const pugi::xml_node& element);
  std::optional<PropertyListValue> leaf(const pugi::xml_node& element);
  std::optional<PropertyListValue> array(const pugi::xml_node& element, int depth);
  std::optional<PropertyListValue> dictionary(const pugi::xml_node& element, int depth);

  XMLProblem _problem;
};

}  // namespace marrow
