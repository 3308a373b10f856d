#include "host/linux/property_list_elements.h"

#include "host/linux/property_list_reader.h"
#include "host/linux/property_list_text.h"
#include "host/linux/xml_text.h"
#include "host/text_format.h"

#include <string_view>
#include <unordered_map>
#include <utility>

namespace marrow {

namespace {

// Entries with unique keys, each with its last value.
class Entries {
 public:
  void set(std::string key, PropertyListValue value) {
    const auto [place, isNew] = _places.try_emplace(key, _entries.size());
    if (isNew) {
      _entries.push_back({std::move(key), std::move(value)});
    } else {
      _entries[place->second].value = std::move(value);
    }
  }
  PropertyListDictionary take() { return PropertyListDictionary(std::move(_entries)); }

 private:
  std::vector<PropertyListEntry> _entries;
  std::unordered_map<std::string, std::size_t> _places;  // in _entries, by key
};

std::optional<PropertyListValue> truth(std::string_view text, bool value) {
  return trimWhiteSpace(text).empty() ? std::optional<PropertyListValue>(value) : std::nullopt;
}

std::optional<PropertyListValue> real(std::string_view text) {
  return isRealText(text) ? std::optional<PropertyListValue>(PropertyListReal{std::string(text)})
                          : std::nullopt;
}

std::optional<PropertyListValue> date(std::string_view text) {
  return isDateText(text) ? std::optional<PropertyListValue>(PropertyListDate{std::string(text)})
                          : std::nullopt;
}

// The value of an element that holds text alone.
std::optional<PropertyListValue> valueFromText(std::string_view type, std::string text) {
  if (type == "string") {
    return PropertyListValue(std::move(text));
  }
  if (type == "integer") {
    return integerFromText(trimWhiteSpace(text));
  }
  if (type == "real") {
    return real(trimWhiteSpace(text));
  }
  if (type == "date") {
    return date(trimWhiteSpace(text));
  }
  if (type == "data") {
    return dataFromBase64(text);
  }
  return truth(text, type == "true");
}

bool isLeaf(std::string_view type) {
  return type == "string" || type == "integer" || type == "real" || type == "date" ||
         type == "data" || type == "true" || type == "false";
}

}  // namespace

std::nullopt_t PropertyListElements::fail(const pugi::xml_node& node, std::string reason) {
  if (_problem.reason.empty()) {
    _problem = {node.offset_debug(), std::move(reason)};
  }
  return std::nullopt;
}

std::optional<std::vector<pugi::xml_node>> PropertyListElements::elements(
    const pugi::xml_node& parent) {
  std::vector<pugi::xml_node> found;
  for (const pugi::xml_node& node : parent.children()) {
    if (node.type() == pugi::node_element) {
      found.push_back(node);
    } else if (node.type() != pugi::node_pcdata || !trimWhiteSpace(node.value()).empty()) {
      return fail(node, formatText("text inside <%s>", parent.name()));
    }
  }
  return found;
}

std::optional<std::string> PropertyListElements::text(const pugi::xml_node& element) {
  std::string content;
  for (const pugi::xml_node& node : element.children()) {
    if (node.type() == pugi::node_cdata) {
      content += node.value();
    } else if (node.type() != pugi::node_pcdata) {
      return fail(node, formatText("<%s> inside <%s>", node.name(), element.name()));
    } else if (!appendXMLContent(node.value(), content)) {
      return fail(node, "a reference to what XML does not know");
    }
  }
  return content;
}

std::optional<PropertyListValue> PropertyListElements::value(const pugi::xml_node& element,
                                                             int depth) {
  if (element.first_attribute()) {
    return fail(element, formatText("<%s> has an attribute", element.name()));
  }
  const std::string_view type = element.name();
  if (isLeaf(type)) {
    return leaf(element);
  }
  if (type != "dict" && type != "array") {
    return fail(element, formatText("<%s> is no type of a property list", element.name()));
  }
  if (depth > kPropertyListDepthLimit) {
    return fail(element, formatText("more than %d levels", kPropertyListDepthLimit));
  }
  return type == "dict" ? dictionary(element, depth) : array(element, depth);
}

std::optional<PropertyListValue> PropertyListElements::leaf(const pugi::xml_node& element) {
  auto content = text(element);
  if (!content) {
    return std::nullopt;
  }
  auto read = valueFromText(element.name(), std::move(*content));
  if (!read) {
    return fail(element, formatText("no valid <%s>", element.name()));
  }
  return read;
}

std::optional<PropertyListValue> PropertyListElements::array(const pugi::xml_node& element,
                                                             int depth) {
  const auto children = elements(element);
  if (!children) {
    return std::nullopt;
  }
  PropertyListArray values;
  values.reserve(children->size());
  for (const pugi::xml_node& child : *children) {
    auto read = value(child, depth + 1);
    if (!read) {
      return std::nullopt;
    }
    values.push_back(std::move(*read));
  }
  return PropertyListValue(std::move(values));
}

// Keys and values take turns.
std::optional<PropertyListValue> PropertyListElements::dictionary(const pugi::xml_node& element,
                                                                  int depth) {
  const auto children = elements(element);
  if (!children) {
    return std::nullopt;
  }
  Entries entries;
  for (std::size_t index = 0; index < children->size(); index += 2) {
    const pugi::xml_node& keyElement = (*children)[index];
    if (std::string_view(keyElement.name()) != "key" || keyElement.first_attribute()) {
      return fail(keyElement, formatText("<%s> where <key> belongs", keyElement.name()));
    }
    if (index + 1 == children->size()) {
      return fail(keyElement, "a <key> without a value");
    }
    auto key = text(keyElement);
    auto read = key ? value((*children)[index + 1], depth + 1) : std::nullopt;
    if (!read) {
      return std::nullopt;
    }
    entries.set(std::move(*key), std::move(*read));
  }
  return PropertyListValue(entries.take());
}

}  // namespace marrow
