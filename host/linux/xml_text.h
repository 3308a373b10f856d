// What may stand in the text of an XML 1.0 document, and what it stands for.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace marrow {

// True when a document can hold the text: well-formed UTF-8 of the characters that XML allows
// (section 2.2: no control characters but tab, line feed and carriage return).
bool isXMLText(std::string_view text);

// Where the first line begins that is no such text; the size when there is none.
std::size_t firstLineOutsideXML(std::string_view text);

// Appends what the content of an element means: the five entities of XML and references to
// characters are put in (sections 4.1, 4.6). False at any other reference.
bool appendXMLContent(std::string_view content, std::string& text);

// The content of an element that means this text. A carriage return is written as a reference: as a
// character of its own it would be read as a line feed (section 2.11).
std::string xmlContent(std::string_view text);

// True when what stands between "<!DOCTYPE" and its end holds declarations in square brackets
// (section 2.8).
bool hasInternalSubset(std::string_view documentType);

}  // namespace marrow
