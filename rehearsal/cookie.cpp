#include "rehearsal/cookie.h"

#include "rehearsal/files.h"
#include "rehearsal/shadow_file.h"

#include <pugixml.hpp>

namespace marrow::rehearsal {

std::filesystem::path cookieFile(const std::filesystem::path& preboot, const std::string& group) {
  return preboot / group / "var/db/.com.corvane.templatemigration";
}

void writeCookie(const std::filesystem::path& file, const std::string& key) {
  const std::string value =
      key == kFullUpgradeKey ? "<true/>" : "<string>B0D6A1B5-24E6-4F0F-A55C-2F6D8C1A7E90</string>";
  writeFile(file,
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n\t<key>" +
                key + "</key>\n\t" + value + "\n</dict>\n</plist>\n");
}

std::string describeCookie(const std::filesystem::path& file) {
  pugi::xml_document document;
  document.load_file(file.c_str());
  const pugi::xml_node dictionary = document.child("plist").child("dict");
  std::string found;
  const std::string_view full = valueOf(dictionary, kFullUpgradeKey).name();
  if (!full.empty() && full != "false") {
    found = kFullUpgradeKey;
  }
  if (valueOf(dictionary, kAlternateTargetKey)) {
    found += (found.empty() ? "" : " ") + std::string(kAlternateTargetKey);
  }
  return found.empty() ? "(none)" : found;
}

}  // namespace marrow::rehearsal
