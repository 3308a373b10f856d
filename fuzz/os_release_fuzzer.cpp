// os-release files, and values as a shell would quote them.
#include "fuzz/fuzz.h"
#include "host/linux/os_release.h"

using namespace marrow;

namespace {

std::string inDoubleQuotes(std::string_view value) {
  std::string quoted = "\"";
  for (const char c : value) {
    if (std::string_view("$`\"\\").find(c) != std::string_view::npos) {
      quoted += '\\';
    }
    quoted += c;
  }
  return quoted + '"';
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = fuzzText(data, size);
  const auto variant = osReleaseValue(text, "VARIANT_ID");
  expect(!variant || text.find("VARIANT_ID=") != std::string_view::npos,
         "a value has its name before it");
  expect(!variant || variant->size() < text.size(), "a value is shorter than its text");

  // The first line end may be taken by a backslash; an open quote spoils its own line only.
  const std::string appended = std::string(text) + "\n\nVARIANT_ID=plain\n";
  expect(osReleaseValue(appended, "VARIANT_ID") == "plain", "the last assignment wins");

  expect(osReleaseValue("A=" + inDoubleQuotes(text), "A") == text, "double quotes keep a value");
  if (text.find('\'') == std::string_view::npos) {
    expect(osReleaseValue("A='" + std::string(text) + '\'', "A") == text,
           "single quotes keep a value");
  }
  return 0;
}
