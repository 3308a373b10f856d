#include "sweep/inventory.h"

#include "rehearsal/digest.h"
#include "rehearsal/files.h"

#include <climits>
#include <sys/stat.h>

namespace marrow::sweep {
namespace {

namespace fs = std::filesystem;

std::string describeEntry(const fs::path& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) {
    return "not to be looked at";
  }
  std::string text = "mode " + std::to_string(status.st_mode);
  if (S_ISREG(status.st_mode)) {
    text += " content " + rehearsal::shortDigest(rehearsal::readFile(path).value_or(""));
  } else if (S_ISLNK(status.st_mode)) {
    text += " to " + fs::read_symlink(path).string();
  } else if (S_ISBLK(status.st_mode) || S_ISCHR(status.st_mode)) {
    text += " number " + std::to_string(status.st_rdev);
  }
  return text;
}

}  // namespace

Inventory takeInventory(const fs::path& folder,
                        const std::function<bool(const std::string&)>& isLeftOut) {
  Inventory inventory;
  std::error_code tooLong;
  for (fs::recursive_directory_iterator entry(folder, tooLong), end; !tooLong && entry != end;
       entry.increment(tooLong)) {
    const std::string path = entry->path().lexically_relative(folder);
    if (isLeftOut(path)) {
      entry.disable_recursion_pending();
      continue;
    }
    inventory[path] = describeEntry(entry->path());
    if (entry->path().native().size() + NAME_MAX + 1 >= PATH_MAX) {
      entry.disable_recursion_pending();
    }
  }
  return inventory;
}

Complaints compareInventories(const std::string& where, const Inventory& before,
                              const Inventory& after) {
  Complaints complaints;
  for (const auto& [path, state] : after) {
    const auto known = before.find(path);
    if (known == before.end()) {
      complaints.push_back(where + ": " + path + " is new");
    } else if (known->second != state) {
      complaints.push_back(where + ": " + path + " was " + known->second + " and is " + state);
    }
  }
  for (const auto& [path, state] : before) {
    if (!after.contains(path)) {
      complaints.push_back(where + ": " + path + " has gone");
    }
  }
  return complaints;
}

}  // namespace marrow::sweep
