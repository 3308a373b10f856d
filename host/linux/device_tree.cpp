#include "host/linux/device_tree.h"

#include "host/error_record.h"
#include "host/linux/small_file.h"
#include "host/text_format.h"

#include <cerrno>
#include <filesystem>
#include <span>
#include <sys/stat.h>
#include <utility>

namespace marrow {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kNonceNode = "/chosen/asmb";
constexpr std::string_view kNonceProperty = "lp-lpnh";
constexpr char kNonceVariable[] = "/asmb-lp-lpnh-9274182a-2c1f-4ede-a8dc-3f77fe34eb9b";

// What efivarfs puts before a variable's data (Documentation/filesystems/efivarfs.rst).
constexpr std::size_t kAttributesLength = 4;

// Without a component that leads elsewhere.
bool isPlain(std::string_view path) {
  return path.starts_with('/') && fs::path(path).lexically_normal() == fs::path(path);
}

PropertyListData data(std::string_view text) {
  const std::span<const char> characters = text;
  const auto bytes = std::as_bytes(characters);
  return {bytes.begin(), bytes.end()};
}

}  // namespace

DeviceTree::DeviceTree(std::string root, std::string efivars, LogHandle& log)
    : _root(std::move(root)), _efivars(std::move(efivars)), _log(log) {}

std::optional<DeviceTreeEntry> DeviceTree::find(std::string_view path) const {
  if (!isPlain(path)) {
    return std::nullopt;
  }
  DeviceTreeEntry entry{std::string(path), false};
  if (hasType(_root + entry.path, S_IFDIR)) {
    return entry;
  }
  if (path == kNonceNode && hasType(_efivars + kNonceVariable, S_IFREG)) {
    entry.fromFirmwareVariable = true;
    return entry;
  }
  return std::nullopt;
}

std::optional<PropertyListData> DeviceTree::property(const DeviceTreeEntry& entry,
                                                     std::string_view name) const {
  if (entry.fromFirmwareVariable) {
    return name == kNonceProperty ? dataIn(_efivars + kNonceVariable, kAttributesLength)
                                  : std::nullopt;
  }
  if (name.empty() || name.find('/') != std::string_view::npos) {
    return std::nullopt;
  }
  return dataIn(_root + entry.path + "/" + std::string(name), 0);
}

std::optional<PropertyListData> DeviceTree::dataIn(const std::string& path,
                                                   std::size_t skipped) const {
  const auto text = readSmallFile(path);
  if (!text) {
    tellUnlessMissing(path, errno);
    return std::nullopt;
  }
  return text->size() < skipped ? std::nullopt
                                : std::optional(data(std::string_view{*text}.substr(skipped)));
}

bool DeviceTree::hasType(const std::string& path, mode_t type) const {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) {
    tellUnlessMissing(path, errno);
    return false;
  }
  return (status.st_mode & S_IFMT) == type;
}

void DeviceTree::tellUnlessMissing(const std::string& path, int errorNumber) const {
  if (errorNumber != ENOENT && errorNumber != ENOTDIR) {
    _log.log(LogLevel::error, formatText("Cannot read %@: %@. It counts as missing.", path,
                                         errorNumberText(errorNumber)));
  }
}

}  // namespace marrow
