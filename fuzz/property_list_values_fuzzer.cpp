// Property lists as values of any kind, deep and odd ones among them: what the writer takes, the
// reader gives back; what it refuses has a reason.
#include "fuzz/fuzz.h"
#include "host/linux/property_list_reader.h"
#include "host/linux/property_list_writer.h"

#include <algorithm>
#include <cstring>

using namespace marrow;

namespace {

class Source {
 public:
  explicit Source(std::string_view bytes) : _bytes(bytes) {}

  std::uint8_t byte() { return _bytes.empty() ? 0 : static_cast<std::uint8_t>(take(1).front()); }
  std::string text() { return std::string(take(byte())); }
  std::uint64_t number() {
    std::uint64_t value = 0;
    const std::string_view bytes = take(sizeof(value));
    std::memcpy(&value, bytes.data(), bytes.size());
    return value;
  }
  PropertyListData data() {
    PropertyListData bytes;
    for (const char c : text()) {
      bytes.push_back(static_cast<std::byte>(c));
    }
    return bytes;
  }
  bool hasMore() const { return !_bytes.empty(); }

 private:
  std::string_view take(std::size_t count) {
    const std::string_view taken = _bytes.substr(0, count);
    _bytes.remove_prefix(taken.size());
    return taken;
  }

  std::string_view _bytes;
};

PropertyListDictionary dictionary(Source& source, int depth);
PropertyListArray array(Source& source, int depth);

// An integer is held signed where it fits.
PropertyListValue integer(std::uint64_t number) {
  const auto value = static_cast<std::int64_t>(number);
  return value < 0 ? PropertyListValue(number) : PropertyListValue(value);
}

PropertyListValue value(Source& source, int depth) {
  switch (source.byte() % 9) {
    case 0:
      return source.text();
    case 1:
      return integer(source.number());
    case 2:
      return -static_cast<std::int64_t>(source.number() >> 1U) - 1;
    case 3:
      return source.byte() % 2 == 0;
    case 4:
      return PropertyListReal{source.text()};
    case 5:
      return PropertyListDate{source.text()};
    case 6:
      return source.data();
    case 7:
      return array(source, depth);
    default:
      return dictionary(source, depth);
  }
}

// A few elements each, so that deep ones come about too.
PropertyListArray array(Source& source, int depth) {
  PropertyListArray values;
  for (int count = source.byte() % 4; count > 0 && depth > 0 && source.hasMore(); --count) {
    values.push_back(value(source, depth - 1));
  }
  return values;
}

PropertyListDictionary dictionary(Source& source, int depth) {
  PropertyListDictionary entries;
  for (int count = source.byte() % 4; count > 0 && depth > 0 && source.hasMore(); --count) {
    std::string key = source.text();
    entries.set(std::move(key), value(source, depth - 1));
  }
  return entries;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr int kDeeperThanAllowed = kPropertyListDepthLimit + 8;
  Source source(fuzzText(data, size));
  const PropertyListDictionary list = dictionary(source, kDeeperThanAllowed);
  std::string problem;
  const auto text = writePropertyList(list, problem);
  expect(text.has_value() == problem.empty(), "a text, or a reason why there is none");
  if (text) {
    const auto again = readPropertyList(*text, problem);
    expect(again && *again == list, "what was written is read as the same");
  }
  return 0;
}
