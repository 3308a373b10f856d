#include "host/linux/mount_holders.h"

#include "host/linux/loop_status.h"
#include "host/linux/small_file.h"

#include <algorithm>
#include <charconv>
#include <fcntl.h>
#include <filesystem>
#include <sstream>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>
#include <utility>

namespace marrow {

namespace {

namespace fs = std::filesystem;

std::vector<std::string> pathsIn(const std::string& directory) {
  std::vector<std::string> paths;
  std::error_code ended;
  for (fs::directory_iterator entry(directory, ended), end; !ended && entry != end;
       entry.increment(ended)) {
    paths.push_back(entry->path().native());
  }
  return paths;
}

// Follows the links of proc(5), which lead to the very file and mount that a process holds. The
// answer must not wait for a server that has gone.
bool isPartOf(const HeldThing& thing, const std::string& path) {
  struct statx status {};
  if (::statx(AT_FDCWD, path.c_str(), AT_NO_AUTOMOUNT | AT_STATX_DONT_SYNC,
              STATX_TYPE | STATX_MNT_ID, &status) != 0) {
    return false;
  }
  const dev_t node = makedev(status.stx_rdev_major, status.stx_rdev_minor);
  return thing.mounts.contains(status.stx_mnt_id) ||
         thing.fileSystems.contains(makedev(status.stx_dev_major, status.stx_dev_minor)) ||
         (S_ISBLK(status.stx_mode) && thing.nodes.contains(node));
}

bool hasPartOf(const HeldThing& thing, const std::string& directory) {
  const auto paths = pathsIn(directory);
  return std::any_of(paths.begin(), paths.end(),
                     [&thing](const std::string& path) { return isPartOf(thing, path); });
}

std::string commandName(const std::string& process) {
  auto name = readSmallFile(process + "/comm").value_or(std::string());
  return name.substr(0, name.find('\n'));
}

bool isKernelThread(const std::string& process) {
  char target = 0;
  return ::readlink((process + "/exe").c_str(), &target, 1) < 0;
}

// 0 when the name is no process's.
pid_t processNumber(const std::string& path) {
  const auto name = fs::path(path).filename().native();
  pid_t number = 0;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
  return error == std::errc() && end == name.data() + name.size() ? number : 0;
}

std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (const auto& name : names) {
    text += (text.empty() ? "" : ", ") + name;
  }
  return text;
}

}  // namespace

MountHolders::MountHolders(std::string procfs, const BlockDevices& devices)
    : _procfs(std::move(procfs)), _devices(devices) {}

std::vector<HolderProcess> MountHolders::processes(const HeldThing& thing) const {
  std::vector<HolderProcess> holders;
  for (const auto& process : pathsIn(_procfs)) {
    const pid_t number = processNumber(process);
    if (number > 0 && number != ::getpid() && !isKernelThread(process) && holds(process, thing)) {
      holders.push_back({number, commandName(process)});
    }
  }
  std::sort(holders.begin(), holders.end(),
            [](const auto& left, const auto& right) { return left.process < right.process; });
  return holders;
}

std::string MountHolders::description(const HeldThing& thing) const {
  std::vector<std::string> names;
  for (const auto& holder : processes(thing)) {
    names.push_back(holder.name + " (" + std::to_string(holder.process) + ")");
  }
  for (auto& holder : kernelHolders(thing)) {
    names.push_back(std::move(holder));
  }
  return names.empty() ? "nobody that can be seen" : joined(names);
}

bool MountHolders::holds(const std::string& process, const HeldThing& thing) const {
  return isPartOf(thing, process + "/cwd") || isPartOf(thing, process + "/root") ||
         isPartOf(thing, process + "/exe") || hasPartOf(thing, process + "/fd") ||
         hasPartOf(thing, process + "/map_files");
}

std::vector<std::string> MountHolders::kernelHolders(const HeldThing& thing) const {
  std::vector<std::string> holders;
  for (const auto& disk : _devices.disks()) {
    const auto backing =
        disk.name.starts_with("loop") ? loopBacking(_devices.node(disk)) : std::nullopt;
    if (backing && (thing.fileSystems.contains(backing->fileSystem) ||
                    (backing->device && thing.nodes.contains(*backing->device)))) {
      holders.push_back(disk.name);
    }
  }
  std::istringstream swaps(readSmallFile(_procfs + "/swaps").value_or(std::string()));
  for (std::string line; std::getline(swaps, line);) {
    const auto path = line.substr(0, line.find(' '));
    if (path.starts_with('/') && isPartOf(thing, path)) {
      holders.push_back("the swap space " + path);
    }
  }
  return holders;
}

HeldThing heldThing(const MountEntry& mount, bool everywhere) {
  HeldThing thing;
  thing.mounts.insert(mount.identifier);
  if (!everywhere) {
    return thing;
  }
  thing.fileSystems.insert(mount.fileSystem);
  // btrfs numbers the files of each of its trees differently from its mounts. One call tells both
  // the mount and the number: once the mount has gone, its path would lead to another file system,
  // and to everybody who uses that.
  struct statx status {};
  if (::statx(AT_FDCWD, mount.target.c_str(), AT_NO_AUTOMOUNT | AT_SYMLINK_NOFOLLOW,
              STATX_TYPE | STATX_MNT_ID, &status) == 0 &&
      status.stx_mnt_id == mount.identifier) {
    thing.fileSystems.insert(makedev(status.stx_dev_major, status.stx_dev_minor));
  }
  return thing;
}

}  // namespace marrow
