// The kernel's command line: the first line of the input is a name, the rest a command line.
#include "fuzz/fuzz.h"
#include "host/linux/kernel_command_line.h"

#include <algorithm>

using namespace marrow;

namespace {

bool isPlainName(std::string_view name) {
  return !name.empty() && name.find_first_of(" \t\n\v\f\r\"=") == std::string_view::npos;
}

void checkAppended(std::string_view commandLine, const std::string& name) {
  const bool closed = std::count(commandLine.begin(), commandLine.end(), '"') % 2 == 0;
  if (!closed || !isPlainName(name)) {
    return;
  }
  const std::string line = std::string(commandLine) + ' ' + name;
  expect(kernelParameter(line + "=plain", name) == "plain", "the last word wins");
  expect(kernelParameter(line + "=\"two words\"\n", name) == "two words", "quotes are taken off");
  expect(kernelParameter(line, name) == kernelParameter(commandLine, name),
         "a word without a value is none");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view commandLine = fuzzText(data, size);
  const std::string name(takeLine(commandLine));
  const auto value = kernelParameter(commandLine, name);
  expect(!value || commandLine.find(*value) != std::string_view::npos,
         "a value is a part of the command line");
  expect(!value || commandLine.find(name + "=") != std::string_view::npos,
         "a value has its name before it");
  checkAppended(commandLine, name);
  return 0;
}
