// Which variant of the system this is, from the files that describe it. They are read once, when
// first asked for.
#pragma once

#include "host/os_variant.h"

#include <mutex>
#include <string>

namespace marrow {

class LinuxOSVariant final : public OSVariant {
 public:
  explicit LinuxOSVariant(std::string etc = "/etc") : _etc(std::move(etc)) {}

  // True when there is an initrd-release, or os-release says VARIANT_ID=base-system.
  bool isBaseSystem(std::string_view subsystem) override;

  // True when os-release says RELEASE_TYPE=development or RELEASE_TYPE=experiment.
  bool hasInternalContent(std::string_view subsystem) override;

 private:
  void read();

  std::string _etc;
  std::once_flag _read;
  bool _baseSystem = false;
  bool _internalContent = false;
};

}  // namespace marrow
