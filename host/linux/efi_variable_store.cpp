#include "host/linux/efi_variable_store.h"

#include "host/error_record.h"
#include "host/linux/descriptor.h"
#include "host/linux/efi_variable_file.h"
#include "host/linux/retry.h"
#include "host/text_format.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace marrow {

namespace {

// Non-volatile, boot service access, run-time access (UEFI, GetVariable), little-endian.
constexpr std::string_view kAttributes("\7\0\0\0", 4);

bool isGUID(std::string_view text) {
  constexpr std::string_view shape = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
  return std::equal(text.begin(), text.end(), shape.begin(), shape.end(), [](char c, char place) {
    return place == '-' ? c == '-' : std::isxdigit(static_cast<unsigned char>(c)) != 0;
  });
}

bool isFileName(std::string_view text) {
  return text.size() <= NAME_MAX && text.find('/') == std::string_view::npos &&
         text.find('\0') == std::string_view::npos;
}

bool isOn(const struct statfs& status, unsigned long magic) {
  return static_cast<unsigned long>(status.f_type) == magic;
}

}  // namespace

EFIVariableStore::EFIVariableStore(LogHandle& log, std::string root)
    : _root(std::move(root)), _missing(log) {}

std::optional<std::string> EFIVariableStore::read(const EFIVariableName& variable) {
  const auto file = locate(variable);
  if (!file) {
    return std::nullopt;
  }
  auto bytes = readEFIVariableFile(*file);
  if (bytes && bytes->size() <= kAttributes.size()) {
    errno = ENOENT;
    return std::nullopt;
  }
  return bytes ? std::optional(bytes->substr(kAttributes.size())) : std::nullopt;
}

int EFIVariableStore::write(const EFIVariableName& variable, std::string_view value) {
  if (value.empty()) {
    return remove(variable);
  }
  const std::lock_guard lock(_mutex);
  const auto file = locate(variable);
  return file ? writeEFIVariableFile(*file, std::string(kAttributes).append(value)) : errno;
}

int EFIVariableStore::remove(const EFIVariableName& variable) {
  const std::lock_guard lock(_mutex);
  const auto file = locate(variable);
  return file ? removeEFIVariableFile(*file) : errno;
}

int EFIVariableStore::sync() {
  if (const int status = presence(); status != 0) {
    return status;
  }
  const Descriptor directory(
      retryInterrupted([&] { return ::open(_root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
  struct statfs status {};
  if (!directory || ::fstatfs(directory.number(), &status) != 0) {
    return errno;
  }
  if (isOn(status, EFIVARFS_MAGIC)) {
    return 0;
  }
  return retryInterrupted([&] { return ::syncfs(directory.number()); }) == 0 ? 0 : errno;
}

// The variable's file, whether there is one or not. Absent with errno set when the machine has no
// store, or the name cannot be one.
std::optional<std::string> EFIVariableStore::locate(const EFIVariableName& variable) {
  std::string vendor = variable.vendor;
  std::transform(vendor.begin(), vendor.end(), vendor.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  const std::string file = variable.name + "-" + vendor;
  if (variable.name.empty() || !isGUID(vendor) || !isFileName(file)) {
    errno = EINVAL;
    return std::nullopt;
  }
  if (const int status = presence(); status != 0) {
    errno = status;
    return std::nullopt;
  }
  return _root + "/" + file;
}

// 0 when there is a store, else ENODEV. A kernel with EFI support but without efivarfs mounted
// shows an empty directory of sysfs, which is none.
int EFIVariableStore::presence() {
  struct statfs status {};
  const int reason = ::statfs(_root.c_str(), &status) != 0 ? errno
                     : isOn(status, SYSFS_MAGIC)           ? ENODEV
                                                           : 0;
  if (reason == 0) {
    return 0;
  }
  _missing.report(formatText("This machine has no firmware variables (%s). %s", _root,
                             errorNumberText(reason)));
  return ENODEV;
}

}  // namespace marrow
