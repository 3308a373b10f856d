#include "host/linux/file_system_probe.h"

#include "host/linux/blkid_probe.h"
#include "host/linux/disk_error.h"

#include <cerrno>

namespace marrow {

namespace {

// blkid_do_safeprobe(): what it returns beside 0.
constexpr int kNothingFound = 1;
constexpr int kAmbiguous = -2;

std::string value(const BlkidProbe& probe, const char* name) {
  const char* data = nullptr;
  return blkid_probe_lookup_value(probe.get(), name, &data, nullptr) == 0 ? data : std::string();
}

ErrorRef probeError(int result, const std::string& node) {
  if (result == kNothingFound) {
    return diskError(EINVAL, "No file system was found on " + node);
  }
  if (result == kAmbiguous) {
    return diskError(EINVAL, "Signs of more than one file system were found on " + node);
  }
  return diskError(errno != 0 ? errno : EIO, "Cannot read the file system's type from " + node);
}

ErrorRef contentError(const std::string& usage, const std::string& type, const std::string& node) {
  if (usage == "crypto") {
    return diskError(EOPNOTSUPP, node + " is encrypted (" + type + ") and cannot be opened");
  }
  return diskError(EINVAL, node + " holds no file system but " + type);
}

}  // namespace

std::optional<std::string> probeFileSystem(const std::string& node, ErrorSlot error) {
  const BlkidProbe probe(node);
  if (!probe) {
    storeError(error, diskError(errno, "Cannot open " + node));
    return std::nullopt;
  }
  blkid_probe_enable_superblocks(probe.get(), 1);
  blkid_probe_set_superblocks_flags(probe.get(), BLKID_SUBLKS_TYPE | BLKID_SUBLKS_USAGE);
  errno = 0;
  if (const int result = blkid_do_safeprobe(probe.get()); result != 0) {
    storeError(error, probeError(result, node));
    return std::nullopt;
  }
  const auto usage = value(probe, "USAGE");
  auto type = value(probe, "TYPE");
  if (usage != "filesystem") {
    storeError(error, contentError(usage, type, node));
    return std::nullopt;
  }
  return type;
}

}  // namespace marrow
