#include "host/linux/linux_os_variant.h"

#include "host/linux/os_release.h"
#include "host/linux/small_file.h"

#include <unistd.h>

namespace marrow {

bool LinuxOSVariant::isBaseSystem(std::string_view /*subsystem*/) {
  std::call_once(_read, [this] { read(); });
  return _baseSystem;
}

bool LinuxOSVariant::hasInternalContent(std::string_view /*subsystem*/) {
  std::call_once(_read, [this] { read(); });
  return _internalContent;
}

void LinuxOSVariant::read() {
  const std::string release = readSmallFile(_etc + "/os-release").value_or("");
  const auto type = osReleaseValue(release, "RELEASE_TYPE");
  _internalContent = type == "development" || type == "experiment";
  _baseSystem = ::access((_etc + "/initrd-release").c_str(), F_OK) == 0 ||
                osReleaseValue(release, "VARIANT_ID") == "base-system";
}

}  // namespace marrow
