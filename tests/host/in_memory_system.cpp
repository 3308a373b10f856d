#include "tests/host/in_memory_system.h"

#include <cerrno>

namespace marrow {

bool InMemoryOSVariant::isBaseSystem(std::string_view subsystem) {
  return !_calls.made("OSVariant.isBaseSystem", std::string(subsystem)) && _baseSystem;
}

bool InMemoryOSVariant::hasInternalContent(std::string_view subsystem) {
  return !_calls.made("OSVariant.hasInternalContent", std::string(subsystem)) && _internalContent;
}

std::optional<std::string> InMemoryKernelVariables::string(const char* name) {
  if (const auto failure = _calls.made("KernelVariables.string", name)) {
    failure->fail();
    return std::nullopt;
  }
  const auto found = _variables.find(name);
  if (found == _variables.end()) {
    errno = ENOENT;
    return std::nullopt;
  }
  return found->second;
}

std::optional<std::string> InMemoryDeviceNames::characterDeviceName(std::uint64_t deviceNumber) {
  if (_calls.made("DeviceNames.characterDeviceName", std::to_string(deviceNumber))) {
    return std::nullopt;
  }
  const auto name = _partitions.nameOfDevice(deviceNumber);
  return name ? std::optional("r" + *name) : std::nullopt;
}

std::string InMemoryTemporaryDirectory::path() {
  constexpr std::uint32_t kForOwnerAlone = 0700;
  const std::string path = "/run/marrow/tmp";
  if (!_calls.made("TemporaryDirectory.path")) {
    _fileSystem.makeFolder(path);
    _fileSystem.node(path)->mode = kForOwnerAlone;
  }
  return path;
}

}  // namespace marrow
