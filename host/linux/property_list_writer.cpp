#include "host/linux/property_list_writer.h"

#include "host/linux/property_list_reader.h"
#include "host/linux/property_list_text.h"
#include "host/linux/xml_text.h"
#include "host/text_format.h"

#include <pugixml.hpp>
#include <string_view>

namespace marrow {

namespace {

// Builds the tree. Each function is false with the problem told when a value cannot be written.
class Writer {
 public:
  explicit Writer(std::string& problem) : _problem(problem) {}

  bool append(pugi::xml_node parent, const PropertyListDictionary& dictionary, int depth);

 private:
  bool append(pugi::xml_node parent, const PropertyListArray& array, int depth);
  bool append(pugi::xml_node parent, const PropertyListValue& value, int depth);
  bool append(pugi::xml_node parent, bool truth, int depth);
  bool append(pugi::xml_node parent, std::int64_t number, int depth);
  bool append(pugi::xml_node parent, std::uint64_t number, int depth);
  bool append(pugi::xml_node parent, const PropertyListReal& real, int depth);
  bool append(pugi::xml_node parent, const PropertyListDate& date, int depth);
  bool append(pugi::xml_node parent, const PropertyListData& data, int depth);
  bool append(pugi::xml_node parent, const std::string& text, int depth);

  bool appendText(pugi::xml_node parent, const char* type, const std::string& text);
  bool isWithinDepth(int depth);
  bool fail(std::string reason);

  std::string& _problem;
};

bool Writer::append(pugi::xml_node parent, const PropertyListDictionary& dictionary, int depth) {
  if (!isWithinDepth(depth)) {
    return false;
  }
  const pugi::xml_node element = parent.append_child("dict");
  for (const PropertyListEntry& entry : dictionary.entries()) {
    if (!appendText(element, "key", entry.key) || !append(element, entry.value, depth + 1)) {
      return false;
    }
  }
  return true;
}

bool Writer::append(pugi::xml_node parent, const PropertyListArray& array, int depth) {
  if (!isWithinDepth(depth)) {
    return false;
  }
  const pugi::xml_node element = parent.append_child("array");
  for (const PropertyListValue& value : array) {
    if (!append(element, value, depth + 1)) {
      return false;
    }
  }
  return true;
}

bool Writer::append(pugi::xml_node parent, const PropertyListValue& value, int depth) {
  return std::visit([&](const auto& held) { return append(parent, held, depth); }, value.storage());
}

bool Writer::append(pugi::xml_node parent, bool truth, int /*depth*/) {
  return !parent.append_child(truth ? "true" : "false").empty();
}

bool Writer::append(pugi::xml_node parent, std::int64_t number, int /*depth*/) {
  return appendText(parent, "integer", std::to_string(number));
}

bool Writer::append(pugi::xml_node parent, std::uint64_t number, int /*depth*/) {
  return appendText(parent, "integer", std::to_string(number));
}

bool Writer::append(pugi::xml_node parent, const PropertyListReal& real, int /*depth*/) {
  return isRealText(real.text) ? appendText(parent, "real", real.text)
                               : fail("no valid real: " + real.text);
}

bool Writer::append(pugi::xml_node parent, const PropertyListDate& date, int /*depth*/) {
  return isDateText(date.text) ? appendText(parent, "date", date.text)
                               : fail("no valid date: " + date.text);
}

bool Writer::append(pugi::xml_node parent, const PropertyListData& data, int /*depth*/) {
  return appendText(parent, "data", base64FromData(data));
}

bool Writer::append(pugi::xml_node parent, const std::string& text, int /*depth*/) {
  return appendText(parent, "string", text);
}

bool Writer::appendText(pugi::xml_node parent, const char* type, const std::string& text) {
  if (!isXMLText(text)) {
    return fail(formatText("a <%s> that XML cannot hold", type));
  }
  pugi::xml_node element = parent.append_child(type);
  return text.empty() ||
         element.append_child(pugi::node_pcdata).set_value(xmlContent(text).c_str());
}

bool Writer::isWithinDepth(int depth) {
  return depth <= kPropertyListDepthLimit ||
         fail(formatText("more than %d levels", kPropertyListDepthLimit));
}

bool Writer::fail(std::string reason) {
  _problem = std::move(reason);
  return false;
}

void prepare(pugi::xml_document& document) {
  pugi::xml_node declaration = document.append_child(pugi::node_declaration);
  declaration.append_attribute("version") = "1.0";
  declaration.append_attribute("encoding") = "UTF-8";
  document.append_child("plist").append_attribute("version") = "1.0";
}

class StringWriter final : public pugi::xml_writer {
 public:
  void write(const void* data, std::size_t size) override {
    _text.append(static_cast<const char*>(data), size);
  }
  std::string take() { return std::move(_text); }

 private:
  std::string _text;
};

}  // namespace

std::optional<std::string> writePropertyList(const PropertyListDictionary& dictionary,
                                             std::string& problem) {
  pugi::xml_document document;
  prepare(document);
  if (!Writer(problem).append(document.child("plist"), dictionary, 1)) {
    return std::nullopt;
  }
  StringWriter writer;
  // The texts are XML already: pugixml leaves carriage returns as they are.
  constexpr unsigned kFormat = pugi::format_indent | pugi::format_no_escapes;
  document.save(writer, "\t", kFormat, pugi::encoding_utf8);
  std::string text = writer.take();
  if (text.size() > kPropertyListSizeLimit) {
    problem = "larger than 64 MiB";
    return std::nullopt;
  }
  return text;
}

}  // namespace marrow
