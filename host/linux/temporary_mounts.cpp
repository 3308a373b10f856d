#include "host/linux/temporary_mounts.h"

#include "host/linux/disk_error.h"
#include "host/linux/file_system_probe.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace marrow {

namespace {

namespace fs = std::filesystem;

constexpr char kPlace[] = "/marrow/mnt";
constexpr mode_t kPublicDirectory = 0755;
constexpr mode_t kPrivateDirectory = 0700;

unsigned long mountFlags(bool readOnly) {
  return MS_NOSUID | MS_NODEV | (readOnly ? static_cast<unsigned long>(MS_RDONLY) : 0UL);
}

// A link to a directory is none: nothing is made at places that it leads to.
bool isDirectory(const std::string& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) {
    return false;
  }
  errno = ENOTDIR;
  return S_ISDIR(status.st_mode);
}

bool ensureDirectory(const std::string& path, mode_t mode) {
  return ::mkdir(path.c_str(), mode) == 0 || (errno == EEXIST && isDirectory(path));
}

bool isNodeOf(const std::string& node, dev_t number) {
  struct stat status {};
  return ::stat(node.c_str(), &status) == 0 && S_ISBLK(status.st_mode) && status.st_rdev == number;
}

// Changes the flags of this mount alone (mount(2), MS_REMOUNT | MS_BIND); undoes it where that
// fails.
bool setOwnFlags(const std::string& target, bool readOnly) {
  const unsigned long flags = MS_REMOUNT | MS_BIND | mountFlags(readOnly);
  if (::mount(nullptr, target.c_str(), nullptr, flags, nullptr) == 0) {
    return true;
  }
  const int number = errno;
  ::umount2(target.c_str(), UMOUNT_NOFOLLOW);
  errno = number;
  return false;
}

// A file system that another mount namespace has mounted for writing cannot be read-only itself
// (then EBUSY), but this mount of it can.
bool mountAs(const std::string& type, const std::string& node, const std::string& target,
             bool readOnly) {
  const auto mount = [&](bool alsoFileSystem) {
    return ::mount(node.c_str(), target.c_str(), type.c_str(), mountFlags(alsoFileSystem),
                   nullptr) == 0;
  };
  return mount(readOnly) ||
         (readOnly && errno == EBUSY && mount(false) && setOwnFlags(target, readOnly));
}

}  // namespace

TemporaryMounts::TemporaryMounts(const Services& services, std::string run)
    : _services(services), _run(std::move(run)) {}

std::optional<std::string> TemporaryMounts::mount(const BlockDevice& device, bool readOnly,
                                                  ErrorSlot error) const {
  if (!_services.devices.current(device)) {
    storeError(error, diskError(ENODEV, "Cannot mount " + _services.devices.node(device)));
    return std::nullopt;
  }
  auto target = makeDirectory(device, error);
  if (!target) {
    return std::nullopt;
  }
  if (auto failure = mountVolume(device, *target, readOnly)) {
    removeDirectory(*target);
    storeError(error, std::move(failure));
    return std::nullopt;
  }
  return target;
}

// What was opened in vain is closed again.
ErrorRef TemporaryMounts::mountVolume(const BlockDevice& volume, const std::string& target,
                                      bool readOnly) const {
  const bool wasOpen = _services.encryptedVolumes.mapping(volume).has_value();
  ErrorRef failure;
  const auto content = _services.encryptedVolumes.open(volume, &failure);
  if (!content) {
    return failure;
  }
  failure = mountContent(*content, target, readOnly);
  if (failure && !wasOpen && !content->isSame(volume)) {
    const auto notClosed = _services.encryptedVolumes.close(volume, *content);
    return notClosed ? notClosed : failure;
  }
  return failure;
}

ErrorRef TemporaryMounts::mountContent(const BlockDevice& content, const std::string& target,
                                       bool readOnly) const {
  const auto source = mountToBind(content);
  return source ? bind(*source, target, readOnly) : mountNode(content, target, readOnly);
}

bool TemporaryMounts::isOwn(const MountEntry& mount, const BlockDevice& device) const {
  const auto volume = _services.encryptedVolumes.volumeOf(device);
  return mount.target.starts_with(place() + "/" + volume.name + "-");
}

bool TemporaryMounts::isWhole(const MountEntry& mount, const BlockDevice& device) const {
  return (mount.root == "/" || isOwn(mount, device)) && MountTable::isVisible(mount);
}

void TemporaryMounts::removeDirectory(const std::string& target) const {
  if (target.starts_with(place() + "/")) {
    ::rmdir(target.c_str());
  }
}

std::optional<std::string> TemporaryMounts::makeDirectory(const BlockDevice& device,
                                                          ErrorSlot error) const {
  const bool ready = ensureDirectory(_run, kPublicDirectory) &&
                     ensureDirectory(_run + "/marrow", kPublicDirectory) &&
                     ensureDirectory(_run + kPlace, kPrivateDirectory);
  std::string target = place() + "/" + device.name + "-XXXXXX";
  if (!ready || ::mkdtemp(target.data()) == nullptr) {
    storeError(error,
               diskError(errno, "Cannot make a mount point for " + _services.devices.node(device) +
                                    " in " + _run + kPlace));
    return std::nullopt;
  }
  return target;
}

// A visible mount of the whole file system, one that can be written before others.
std::optional<MountEntry> TemporaryMounts::mountToBind(const BlockDevice& device) const {
  std::optional<MountEntry> found;
  for (auto& mount : _services.mountTable.ofDevice(device.number)) {
    const bool better = !found || (found->readOnly && !mount.readOnly);
    if (better && isWhole(mount, device)) {
      found = std::move(mount);
    }
  }
  return found;
}

// A bind mount takes its own flags only when it is mounted anew.
ErrorRef TemporaryMounts::bind(const MountEntry& source, const std::string& target,
                               bool readOnly) const {
  const std::string what = "Cannot bind " + source.target + " to " + target;
  if (source.fileSystemReadOnly && !readOnly) {
    return diskError(EROFS, what + " for writing");
  }
  if (::mount(source.target.c_str(), target.c_str(), nullptr, MS_BIND, nullptr) != 0) {
    return diskError(errno, what);
  }
  return setOwnFlags(target, readOnly) ? nullptr : diskError(errno, what);
}

ErrorRef TemporaryMounts::mountNode(const BlockDevice& device, const std::string& target,
                                    bool readOnly) const {
  const auto node = _services.devices.node(device);
  ErrorRef failure;
  const auto type = probeFileSystem(node, &failure);
  if (!type) {
    return failure;
  }
  if (!isNodeOf(node, device.number)) {
    return diskError(ENODEV, "Cannot mount " + node);
  }
  // Nothing else happens between the claim and the mount.
  auto loan = _services.claims.lend(device);
  if (!mountAs(*type, node, target, readOnly)) {
    return diskError(errno, "Cannot mount " + node + " (" + *type + ") at " + target);
  }
  loan.keep();
  return nullptr;
}

// As the mount table names it: without links.
std::string TemporaryMounts::place() const {
  std::error_code missing;
  const auto path = fs::canonical(_run + kPlace, missing);
  return missing ? _run + kPlace : path.native();
}

}  // namespace marrow
