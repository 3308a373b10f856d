#include "rehearsal/firmware_store.h"

#include "rehearsal/files.h"
#include "rehearsal/problem.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>

namespace marrow::rehearsal {
namespace {

constexpr const char* kVendor = "-9274182a-2c1f-4ede-a8dc-3f77fe34eb9b";
constexpr const char* kLoaderVendor = "-4a67b082-0a4c-41cf-b6c7-440b29bb8c4f";

// EFI_VARIABLE_NON_VOLATILE, _BOOTSERVICE_ACCESS and _RUNTIME_ACCESS, little-endian.
constexpr std::string_view kAttributes("\7\0\0\0", 4);

// On efivarfs a variable is immutable from its first moment on, and one write is one change of it;
// a folder of another file system knows no such flag, and needs none.
void makeMutable(const std::filesystem::path& file) {
  const Descriptor variable(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
  int flags = 0;
  if (variable && ::ioctl(variable.number(), FS_IOC_GETFLAGS, &flags) == 0 &&
      (flags & FS_IMMUTABLE_FL) != 0) {
    flags &= ~FS_IMMUTABLE_FL;
    checked(::ioctl(variable.number(), FS_IOC_SETFLAGS, &flags), "change " + file.string());
  }
}

void writeVariable(const std::filesystem::path& file, std::string_view bytes) {
  makeMutable(file);
  const Descriptor variable = openFile(file, O_WRONLY | O_CREAT | O_TRUNC, 0644);
  const std::string value = std::string(kAttributes) + std::string(bytes);
  checked(::write(variable.number(), value.data(), value.size()), "write " + file.string());
}

std::optional<std::string> readVariable(const std::filesystem::path& file) {
  std::optional<std::string> content = readFile(file);
  if (content) {
    content->erase(0, kAttributes.size());
  }
  return content;
}

}  // namespace

FirmwareStore::FirmwareStore(std::filesystem::path folder) : _folder(std::move(folder)) {
  std::filesystem::create_directories(_folder);
}

void FirmwareStore::set(const std::string& name, std::string_view bytes) const {
  writeVariable(_folder / (name + kVendor), bytes);
}

std::optional<std::string> FirmwareStore::get(const std::string& name) const {
  return readVariable(_folder / (name + kVendor));
}

void FirmwareStore::setLoader(const std::string& name, const std::string& text) const {
  std::string wide;
  for (const char character : text + '\0') {
    wide += {character, '\0'};
  }
  writeVariable(_folder / (name + kLoaderVendor), wide);
}

std::optional<std::string> FirmwareStore::loader(const std::string& name) const {
  const std::optional<std::string> wide = readVariable(_folder / (name + kLoaderVendor));
  if (!wide) {
    return std::nullopt;
  }
  std::string text;
  for (std::size_t i = 0; i + 1 < wide->size(); i += 2) {
    text += (*wide)[i + 1] == '\0' ? (*wide)[i] : '?';
  }
  if (!text.empty() && text.back() == '\0') {
    text.pop_back();
  }
  return text;
}

}  // namespace marrow::rehearsal
