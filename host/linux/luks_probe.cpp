#include "host/linux/luks_probe.h"

#include "host/linux/blkid_probe.h"

#include <cerrno>
#include <string_view>

namespace marrow {

namespace {

bool saysLUKS2(const BlkidProbe& probe) {
  const char* type = nullptr;
  const char* version = nullptr;
  return blkid_probe_lookup_value(probe.get(), "TYPE", &type, nullptr) == 0 &&
         blkid_probe_lookup_value(probe.get(), "VERSION", &version, nullptr) == 0 &&
         std::string_view(type) == "crypto_LUKS" && std::string_view(version) == "2";
}

}  // namespace

int probeLUKS2(const std::string& node, bool& found) {
  found = false;
  const BlkidProbe probe(node);
  if (!probe) {
    return errno;
  }
  blkid_probe_enable_superblocks(probe.get(), 1);
  blkid_probe_set_superblocks_flags(probe.get(), BLKID_SUBLKS_TYPE | BLKID_SUBLKS_VERSION);
  blkid_probe_filter_superblocks_usage(probe.get(), BLKID_FLTR_ONLYIN, BLKID_USAGE_CRYPTO);
  errno = 0;
  const int result = blkid_do_probe(probe.get());
  if (result < 0) {
    return errno != 0 ? errno : EIO;
  }
  found = result == 0 && saysLUKS2(probe);
  return 0;
}

}  // namespace marrow
