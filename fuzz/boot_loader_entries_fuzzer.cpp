// The value of LoaderEntries, searched for an entry.
#include "fuzz/fuzz.h"
#include "host/linux/boot_loader_entries.h"

#include <algorithm>
#include <fnmatch.h>
#include <string>

using namespace marrow;

namespace {

constexpr char kIdentifier[] = "marrow-6b29fc40";

// As the loader sees it; what is beyond ASCII is never ours.
std::string lowered(const std::u16string& entry) {
  std::string text;
  for (const char16_t c : entry) {
    text += c < 0x80 ? static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c) : '?';
  }
  return text;
}

void checkPattern(const std::vector<std::u16string>& entries) {
  const std::string pattern = entryPattern(entries, kIdentifier);
  if (pattern.empty()) {
    const auto plain = std::u16string(u"marrow-6b29fc40.conf");
    expect(std::find(entries.begin(), entries.end(), plain) == entries.end(),
           "a plain entry is found");
    return;
  }
  expect(pattern.starts_with(kIdentifier), "a pattern begins with the identifier");
  expect(pattern.ends_with(".conf") || pattern.ends_with(".efi"), "a pattern ends as entries do");
  expect(std::any_of(entries.begin(), entries.end(),
                     [&](const auto& entry) {
                       return ::fnmatch(pattern.c_str(), lowered(entry).c_str(), 0) == 0;
                     }),
         "a pattern means an entry that is there");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes = fuzzText(data, size);
  const auto entries = decodeLoaderEntries(bytes);
  std::size_t units = 0;
  for (const std::u16string& entry : entries) {
    expect(!entry.empty() && entry.find(u'\0') == std::u16string::npos, "an entry has a text");
    units += entry.size() + 1;
  }
  expect(units <= size / 2 + 1, "no more text than bytes");
  checkPattern(entries);

  std::string ascii;
  std::copy_if(bytes.begin(), bytes.end(), std::back_inserter(ascii), [](char c) { return c > 0; });
  const std::u16string decoded = decodeLoaderString(encodeLoaderString(ascii));
  expect(std::equal(decoded.begin(), decoded.end(), ascii.begin(), ascii.end()),
         "what is encoded is decoded as the same");
  return 0;
}
