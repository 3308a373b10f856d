#include "host/linux/kernel_command_line.h"

#include <algorithm>

namespace marrow {

namespace {

constexpr std::string_view kBlanks = " \t\n\v\f\r";

struct Word {
  std::string_view name;
  std::optional<std::string_view> value;
};

bool isBlank(char c) { return kBlanks.find(c) != std::string_view::npos; }

// Where the word ends that `text` begins with: at a blank outside of quotes.
std::size_t lengthOfWord(std::string_view text, bool inQuotes) {
  std::size_t length = 0;
  while (length < text.size() && (inQuotes || !isBlank(text[length]))) {
    inQuotes = inQuotes != (text[length] == '"');
    ++length;
  }
  return length;
}

std::string_view withoutQuoteAtEnd(std::string_view text) {
  return text.substr(0, text.size() - (text.ends_with('"') ? 1 : 0));
}

// `quoted`: a quote stood before the word.
Word split(std::string_view word, bool quoted) {
  const std::size_t equals = word.find('=', 1);
  if (equals == std::string_view::npos) {
    return {quoted ? withoutQuoteAtEnd(word) : word, std::nullopt};
  }
  std::string_view value = word.substr(equals + 1);
  if (value.starts_with('"')) {
    value.remove_prefix(1);
    quoted = true;
  }
  return {word.substr(0, equals), quoted ? withoutQuoteAtEnd(value) : value};
}

// Takes the first word off `rest`, which does not begin with a blank.
Word takeWord(std::string_view& rest) {
  const bool quoted = rest.starts_with('"');
  rest.remove_prefix(quoted ? 1 : 0);
  const std::size_t length = lengthOfWord(rest, quoted);
  const Word word = split(rest.substr(0, length), quoted);
  rest.remove_prefix(length);
  return word;
}

}  // namespace

std::optional<std::string> kernelParameter(std::string_view commandLine, std::string_view name) {
  std::optional<std::string> found;
  std::string_view rest = commandLine.substr(0, commandLine.find_last_not_of('\n') + 1);
  while (true) {
    rest.remove_prefix(std::min(rest.find_first_not_of(kBlanks), rest.size()));
    if (rest.empty()) {
      return found;
    }
    const Word word = takeWord(rest);
    if (word.value && word.name == name) {
      found = std::string(*word.value);
    }
  }
}

}  // namespace marrow
