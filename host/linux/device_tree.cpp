#include "host/linux/device_tree.h"

#include "host/linux/small_file.h"

#include <cstddef>
#include <filesystem>
#include <span>
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

std::optional<PropertyListData> dataIn(const std::string& path, std::size_t skipped) {
  const auto text = readSmallFile(path);
  if (!text || text->size() < skipped) {
    return std::nullopt;
  }
  return data(std::string_view{*text}.substr(skipped));
}

}  // namespace

DeviceTree::DeviceTree(std::string root, std::string efivars)
    : _root(std::move(root)), _efivars(std::move(efivars)) {}

std::optional<DeviceTreeEntry> DeviceTree::find(std::string_view path) const {
  if (!isPlain(path)) {
    return std::nullopt;
  }
  std::error_code missing;
  DeviceTreeEntry entry{std::string(path), false};
  if (fs::is_directory(_root + entry.path, missing)) {
    return entry;
  }
  if (path == kNonceNode && fs::exists(_efivars + kNonceVariable, missing)) {
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

}  // namespace marrow
