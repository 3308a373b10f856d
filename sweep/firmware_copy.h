// The firmware variables at one moment, to go back to.
#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <string>

namespace marrow::sweep {

class FirmwareCopy {
 public:
  // Of a folder in the form of efivarfs.
  explicit FirmwareCopy(const std::filesystem::path& folder);

  std::size_t count() const { return _files.size(); }

  bool operator==(const FirmwareCopy&) const = default;

  // Makes the folder hold these variables and no others.
  void putInto(const std::filesystem::path& folder) const;

  // What the firmware itself would hold: it knows nothing of a file that was opened with O_TRUNC or
  // O_CREAT and not written yet, so that an empty file stands for what was there before it.
  void settle(const FirmwareCopy& before);

 private:
  // The whole content of each file by its name.
  std::map<std::string, std::string> _files;
};

}  // namespace marrow::sweep
