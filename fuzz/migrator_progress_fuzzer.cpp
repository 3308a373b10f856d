// Progress reports, held against strtoll(3).
#include "fuzz/fuzz.h"
#include "host/unicode.h"
#include "operations/migrator_progress.h"

#include <string>

using namespace marrow;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(fuzzText(data, size));
  const auto percentage = reportedPercentage(text);
  expect(!percentage || (*percentage >= 0 && *percentage <= 100),
         "a percentage is within 0 to 100");
  const long long number = isValidUTF8(text) ? std::strtoll(text.c_str(), nullptr, 10) : 0;
  const bool inside = number >= 0 && number <= 100;
  expect(percentage == (inside ? std::optional<std::int64_t>(number) : std::nullopt),
         "the number at the front counts");
  return 0;
}
