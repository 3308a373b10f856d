// The firmware variables of a machine: a folder in the form of efivarfs, files NAME-VENDOR that
// begin with four bytes of attributes (Documentation/filesystems/efivarfs.rst).
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace marrow::rehearsal {

class FirmwareStore {
 public:
  // The folder is made where it is missing.
  explicit FirmwareStore(std::filesystem::path folder);

  const std::filesystem::path& folder() const { return _folder; }

  // Variables of the daemon's vendor; the bytes without the attributes.
  void set(const std::string& name, std::string_view bytes) const;
  std::optional<std::string> get(const std::string& name) const;

  // Variables of the boot loader's vendor: text, kept as UTF-16LE, each part ended by a zero
  // character. Characters beyond ASCII are not known here and read as "?".
  void setLoader(const std::string& name, const std::string& text) const;
  std::optional<std::string> loader(const std::string& name) const;

 private:
  std::filesystem::path _folder;
};

}  // namespace marrow::rehearsal
