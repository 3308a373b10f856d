#include "host/linux/boot_loader_entries.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fnmatch.h>

namespace marrow {

namespace {

const char* const kEntries = "LoaderEntries";
const char* const kDefault = "LoaderEntryDefault";
const char* const kOneShot = "LoaderEntryOneShot";
const char* const kSelected = "LoaderEntrySelected";

constexpr std::array<std::string_view, 2> kSuffixes = {".conf", ".efi"};

EFIVariableName loaderVariable(const char* name) { return {name, kBootLoaderVendor}; }

char16_t lowerASCII(char16_t c) {
  return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c - u'A' + u'a') : c;
}

// Lower case; empty when the text is not all ASCII, as every identifier of ours is.
std::string lowerCaseASCII(const std::u16string& text) {
  std::string result;
  for (const char16_t c : text) {
    if (c > 0x7F) {
      return {};
    }
    result += static_cast<char>(lowerASCII(c));
  }
  return result;
}

bool isNumber(std::string_view text) {
  return !text.empty() &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// "+LEFT" or "+LEFT-DONE", https://uapi-group.org/specifications/specs/boot_loader_specification.
bool isBootCounter(std::string_view text) {
  if (!text.starts_with('+')) {
    return false;
  }
  const std::size_t dash = text.find('-');
  const bool hasDone = dash != std::string_view::npos;
  return isNumber(text.substr(1, hasDone ? dash - 1 : dash)) &&
         (!hasDone || isNumber(text.substr(dash + 1)));
}

bool isCounted(std::string_view entry, std::string_view identifier, std::string_view suffix) {
  return entry.size() > identifier.size() + suffix.size() && entry.starts_with(identifier) &&
         entry.ends_with(suffix) &&
         isBootCounter(
             entry.substr(identifier.size(), entry.size() - identifier.size() - suffix.size()));
}

// Empty when the entry does not end in it.
std::string_view withoutSuffix(std::string_view entry, std::string_view suffix) {
  return entry.ends_with(suffix) ? entry.substr(0, entry.size() - suffix.size())
                                 : std::string_view();
}

// Whether the loader takes this choice for that entry: a choice is a shell pattern.
bool names(const std::string& choice, const std::string& entry) {
  return !choice.empty() && !entry.empty() &&
         (choice == entry || ::fnmatch(choice.c_str(), entry.c_str(), 0) == 0);
}

// What it means that a variable was not read: 0 when there is none, nor any store to hold one.
int statusOfAbsence() { return errno == ENOENT || errno == ENODEV ? 0 : errno; }

}  // namespace

std::vector<std::u16string> decodeLoaderEntries(std::string_view bytes) {
  std::vector<std::u16string> entries;
  while (bytes.size() >= 2) {
    const std::u16string entry = decodeLoaderString(bytes);
    bytes.remove_prefix(std::min(bytes.size(), 2 * (entry.size() + 1)));
    if (!entry.empty()) {
      entries.push_back(entry);
    }
  }
  return entries;
}

std::u16string decodeLoaderString(std::string_view bytes) {
  std::u16string text;
  for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
    const auto low = static_cast<unsigned char>(bytes[at]);
    const auto high = static_cast<unsigned char>(bytes[at + 1]);
    if (low == 0 && high == 0) {
      break;
    }
    text += static_cast<char16_t>(low | (high << 8U));
  }
  return text;
}

std::string encodeLoaderString(std::string_view ascii) {
  std::string bytes;
  for (const char c : ascii) {
    bytes += {c, '\0'};
  }
  return bytes + std::string(2, '\0');
}

std::string entryPattern(const std::vector<std::u16string>& entries, std::string_view identifier) {
  std::vector<std::string> published(entries.size());
  std::transform(entries.begin(), entries.end(), published.begin(), lowerCaseASCII);
  for (const std::string_view suffix : kSuffixes) {
    std::string plain = std::string(identifier).append(suffix);
    if (std::find(published.begin(), published.end(), plain) != published.end()) {
      return plain;
    }
  }
  for (const std::string_view suffix : kSuffixes) {
    if (std::any_of(published.begin(), published.end(), [&](const std::string& entry) {
          return isCounted(entry, identifier, suffix);
        })) {
      return std::string(identifier).append("*").append(suffix);
    }
  }
  return {};
}

std::string patternOfEntry(const std::string& entry) {
  for (const std::string_view suffix : kSuffixes) {
    const std::string_view stem = withoutSuffix(entry, suffix);
    const std::size_t plus = stem.rfind('+');
    if (plus != std::string_view::npos && plus > 0 && isBootCounter(stem.substr(plus))) {
      return std::string(stem.substr(0, plus)).append("*").append(suffix);
    }
  }
  return entry;
}

int BootLoaderEntries::choose(const std::string& identifier, bool oneTime) {
  std::string pattern;
  const int status = resolve(identifier, pattern);
  return status != 0 ? status
                     : _store.write(loaderVariable(oneTime ? kOneShot : kDefault),
                                    encodeLoaderString(pattern));
}

// A loader that publishes nothing is taken at its word: the entry has the plain name.
int BootLoaderEntries::resolve(const std::string& identifier, std::string& pattern) {
  const auto published = _store.read(loaderVariable(kEntries));
  if (!published) {
    pattern = identifier + ".conf";
    return errno == ENOENT ? 0 : errno;
  }
  pattern = entryPattern(decodeLoaderEntries(*published), identifier);
  return pattern.empty() ? ENOENT : 0;
}

int BootLoaderEntries::repeatThisBoot() {
  const auto selected = _store.read(loaderVariable(kSelected));
  if (!selected) {
    return errno;
  }
  const std::string entry = lowerCaseASCII(decodeLoaderString(*selected));
  return entry.empty()
             ? EINVAL
             : _store.write(loaderVariable(kOneShot), encodeLoaderString(patternOfEntry(entry)));
}

int BootLoaderEntries::forgetOneShotOfThisBoot() {
  const auto oneShot = _store.read(loaderVariable(kOneShot));
  if (!oneShot) {
    return statusOfAbsence();
  }
  const auto selected = _store.read(loaderVariable(kSelected));
  if (!selected) {
    return statusOfAbsence();
  }
  const bool ofThisBoot = names(lowerCaseASCII(decodeLoaderString(*oneShot)),
                                lowerCaseASCII(decodeLoaderString(*selected)));
  return ofThisBoot ? _store.remove(loaderVariable(kOneShot)) : 0;
}

}  // namespace marrow
