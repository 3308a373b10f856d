#include "sweep/firmware_copy.h"

#include "rehearsal/files.h"

namespace marrow::sweep {

FirmwareCopy::FirmwareCopy(const std::filesystem::path& folder) {
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    _files[entry.path().filename()] = rehearsal::readFile(entry.path()).value_or("");
  }
}

void FirmwareCopy::putInto(const std::filesystem::path& folder) const {
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    std::filesystem::remove_all(entry.path());
  }
  for (const auto& [name, content] : _files) {
    rehearsal::writeFile(folder / name, content);
  }
}

void FirmwareCopy::settle(const FirmwareCopy& before) {
  for (auto file = _files.begin(); file != _files.end();) {
    const auto old = before._files.find(file->first);
    if (!file->second.empty()) {
      ++file;
    } else if (old != before._files.end()) {
      (file++)->second = old->second;
    } else {
      file = _files.erase(file);
    }
  }
}

}  // namespace marrow::sweep
