// Property lists as text: what is read can be written and is read again as the same; what is not
// read has a reason.
#include "fuzz/fuzz.h"
#include "host/linux/property_list_reader.h"
#include "host/linux/property_list_writer.h"

using namespace marrow;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string problem;
  const auto list = readPropertyList(fuzzText(data, size), problem);
  expect(list.has_value() == problem.empty(), "a list, or a reason why there is none");
  if (!list) {
    expect(problem.starts_with("line "), "the reason names a line");
    return 0;
  }
  const auto text = writePropertyList(*list, problem);
  expect(text.has_value(), "what was read can be written");
  const auto again = readPropertyList(*text, problem);
  expect(again && *again == *list, "what was written is read as the same");
  expect(writePropertyList(*again, problem) == text, "the same is written as the same");
  return 0;
}
