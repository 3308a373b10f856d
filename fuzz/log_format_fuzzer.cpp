// Formats of the log: the first line of the input is a format, the others are its arguments. Every
// format that the compiler would have taken is put together; this does the same by hand.
#include "fuzz/fuzz.h"
#include "host/text_format.h"
#include "host/unicode.h"

#include <string>
#include <vector>

using namespace marrow;

namespace {

// "%%" alone takes no argument.
std::size_t argumentsOf(std::string_view format) {
  std::size_t count = 0;
  for (Conversion next = nextConversion(format, 0); next.begin != std::string_view::npos;
       next = nextConversion(format, next.end)) {
    expect(next.begin < next.end && next.end <= format.size(), "a conversion has an extent");
    expect(format[next.begin] == '%', "a conversion begins with a percent sign");
    count += next.letters == "%" ? 0 : 1;
  }
  return count;
}

std::size_t lengthOfText(std::string_view format, const std::vector<std::string>& arguments) {
  std::size_t length = format.size();
  for (Conversion next = nextConversion(format, 0); next.begin != std::string_view::npos;
       next = nextConversion(format, next.end)) {
    length -= next.end - next.begin;
    length += next.letters == "%" ? 1 : 0;
  }
  for (const std::string& argument : arguments) {
    length += argument.size();
  }
  return length;
}

void checkLiteral(std::string_view text) {
  std::string format;
  for (const char c : text) {
    format += c == '%' ? "%%" : std::string(1, c);
  }
  expect(substitute(format, {}) == text, "a format without conversions is its text");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view rest = fuzzText(data, size);
  const std::string_view format = takeLine(rest);
  std::vector<std::string> arguments;
  for (std::size_t count = argumentsOf(format); count > 0; --count) {
    arguments.emplace_back(takeLine(rest));
  }
  const std::size_t length = lengthOfText(format, arguments);
  const std::string text = substitute(format, arguments);
  expect(text.size() == length, "nothing is lost or added");
  expect(utf16Length(text) <= text.size(), "no more units than bytes");
  checkLiteral(format);

  const std::string argument(rest);
  expect(formatText("%@", argument) == argument, "an object prints as it is");
  expect(formatText("%{note}@ %s%%", argument, argument) == argument + ' ' + argument + '%',
         "an annotation changes nothing");
  expect(formatText("%@", std::vector<std::string>{argument, "b"}) == "(" + argument + ", b)",
         "a list prints in brackets");
  return 0;
}
