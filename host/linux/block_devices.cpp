#include "host/linux/block_devices.h"

#include "host/linux/small_file.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cstddef>
#include <filesystem>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <tuple>
#include <unistd.h>
#include <utility>

namespace marrow {

namespace {

namespace fs = std::filesystem;

// The decimal number that the text begins with; 0 when there is none.
template <typename Number>
Number number(std::string_view text) {
  Number value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

template <typename Number>
Number numberIn(const std::string& path) {
  return number<Number>(readAttribute(path).value_or(std::string()));
}

// From "MAJOR:MINOR".
std::optional<dev_t> deviceNumber(const std::string& path) {
  const auto text = readAttribute(path);
  const auto colon = text ? text->find(':') : std::string::npos;
  if (colon == std::string::npos) {
    return std::nullopt;
  }
  return makedev(number<unsigned>(*text),
                 number<unsigned>(std::string_view(*text).substr(colon + 1)));
}

auto place(const BlockDevice& device) {
  return std::tie(device.removable, device.sequence, device.disk, device.partition);
}

bool isName(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string_view::npos;
}

// Of a link; absent where there is none, or one too long for a path.
std::optional<std::string> targetOf(const fs::path& link) {
  std::array<char, PATH_MAX> target{};
  const ssize_t length = ::readlink(link.c_str(), target.data(), target.size());
  if (length < 0 || static_cast<std::size_t>(length) == target.size()) {
    return std::nullopt;
  }
  return std::string(target.data(), static_cast<std::size_t>(length));
}

// As the listing itself tells, without another question to the kernel (readdir(3), d_type).
bool isRegularFile(const fs::directory_entry& entry) {
  std::error_code ignored;
  return !entry.is_symlink(ignored) && entry.is_regular_file(ignored);
}

}  // namespace

// What a disk and its partitions have in common: read once for a listing.
struct BlockDevices::DiskAttributes {
  DiskAttributes() = default;
  explicit DiskAttributes(const std::string& path)
      : directory(path),
        sequence(numberIn<std::uint64_t>(path + "/diskseq")),
        removable(numberIn<unsigned>(path + "/removable") != 0) {}

  std::string directory;
  std::uint64_t sequence = 0;
  bool removable = false;
};

std::string nodeName(std::string kernelName) {
  std::replace(kernelName.begin(), kernelName.end(), '!', '/');
  return kernelName;
}

BlockDevices::BlockDevices(std::string sysfs, std::string dev)
    : _sysfs(std::move(sysfs)), _dev(std::move(dev)) {}

std::vector<BlockDevice> BlockDevices::all() const { return listed(_sysfs + "/class/block"); }

// Not from among all devices: each volume in turn asks for the disks, which may have many.
std::vector<BlockDevice> BlockDevices::disks() const { return listed(_sysfs + "/block"); }

std::vector<BlockDevice> BlockDevices::partitionsOf(std::string_view disk) const {
  const auto path = directory(disk);
  auto devices = path ? listed(*path) : std::vector<BlockDevice>();
  std::erase_if(devices, [](const BlockDevice& device) { return device.isDisk(); });
  return devices;
}

// The devices among the names in this directory.
std::vector<BlockDevice> BlockDevices::listed(const std::string& path) const {
  std::vector<BlockDevice> devices;
  DiskAttributes disk;
  std::error_code ended;
  for (fs::directory_iterator entry(path, ended), end; !ended && entry != end;
       entry.increment(ended)) {
    const std::string name = entry->path().filename().native();
    if (auto device = isRegularFile(*entry) ? std::nullopt : find(name, disk)) {
      devices.push_back(std::move(*device));
    }
  }
  std::sort(devices.begin(), devices.end(), [](const BlockDevice& left, const BlockDevice& right) {
    return place(left) < place(right);
  });
  return devices;
}

std::optional<BlockDevice> BlockDevices::find(std::string_view name) const {
  DiskAttributes unknown;
  return find(name, unknown);
}

std::optional<BlockDevice> BlockDevices::find(std::string_view name, DiskAttributes& known) const {
  const auto path = directory(name);
  const auto number = path ? deviceNumber(*path + "/dev") : std::nullopt;
  if (!number) {
    return std::nullopt;
  }
  const auto partition = numberIn<unsigned>(*path + "/partition");
  const fs::path disk = partition == 0 ? fs::path(*path) : fs::path(*path).parent_path();
  if (known.directory != disk.native()) {
    known = DiskAttributes(disk.native());
  }
  BlockDevice device;
  device.name = name;
  device.disk = disk.filename().native();
  device.number = *number;
  device.partition = partition;
  device.sequence = known.sequence;
  device.removable = known.removable;
  device.start = numberIn<std::uint64_t>(*path + "/start");
  device.sectors = numberIn<std::uint64_t>(*path + "/size");
  return device;
}

std::optional<BlockDevice> BlockDevices::findNumber(dev_t number) const {
  const std::string link =
      _sysfs + "/dev/block/" + std::to_string(major(number)) + ":" + std::to_string(minor(number));
  const auto target = targetOf(link);
  return target ? find(fs::path(*target).filename().native()) : std::nullopt;
}

std::optional<BlockDevice> BlockDevices::current(const BlockDevice& device) const {
  auto found = find(device.name);
  return found && found->isSame(device) ? found : std::nullopt;
}

std::optional<BlockDevice> BlockDevices::findNamed(const std::string& nameOrNode) const {
  if (!nameOrNode.starts_with('/')) {
    return find(nameOrNode);
  }
  struct stat status {};
  if (::stat(nameOrNode.c_str(), &status) != 0 || !S_ISBLK(status.st_mode)) {
    return std::nullopt;
  }
  return findNumber(status.st_rdev);
}

std::string BlockDevices::node(const BlockDevice& device) const {
  return _dev + "/" + nodeName(device.name);
}

std::optional<std::string> BlockDevices::directory(std::string_view name) const {
  if (!isName(name)) {
    return std::nullopt;
  }
  const fs::path links = fs::path(_sysfs) / "class/block";
  const auto target = targetOf(links / name);
  return target ? std::optional((links / *target).lexically_normal().native()) : std::nullopt;
}

}  // namespace marrow
