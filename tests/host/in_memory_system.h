// The small services that only answer: what kind of system this is, its kernel variables, its
// device numbers, its temporary directory.
#pragma once

#include "host/device_names.h"
#include "host/kernel_variables.h"
#include "host/os_variant.h"
#include "host/temporary_directory.h"
#include "tests/host/calls.h"
#include "tests/host/in_memory_file_system.h"
#include "tests/host/in_memory_partitions.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace marrow {

class InMemoryOSVariant : public OSVariant {
 public:
  explicit InMemoryOSVariant(Calls& calls) : _calls(calls) {}

  bool isBaseSystem(std::string_view subsystem) override;
  bool hasInternalContent(std::string_view subsystem) override;

  void setBaseSystem(bool baseSystem) { _baseSystem = baseSystem; }
  void setInternalContent(bool internalContent) { _internalContent = internalContent; }

 private:
  Calls& _calls;
  bool _baseSystem = true;
  bool _internalContent = false;
};

class InMemoryKernelVariables : public KernelVariables {
 public:
  explicit InMemoryKernelVariables(Calls& calls) : _calls(calls) {}

  std::optional<std::string> string(const char* name) override;

  void set(const std::string& name, const std::string& value) { _variables[name] = value; }
  void remove(const std::string& name) { _variables.erase(name); }

 private:
  Calls& _calls;
  std::map<std::string, std::string> _variables;
};

// The raw twin of /dev/disk0s3 is /dev/rdisk0s3; its name is the answer.
class InMemoryDeviceNames : public DeviceNames {
 public:
  InMemoryDeviceNames(Calls& calls, InMemoryPartitions& partitions)
      : _calls(calls), _partitions(partitions) {}

  std::optional<std::string> characterDeviceName(std::uint64_t deviceNumber) override;

 private:
  Calls& _calls;
  InMemoryPartitions& _partitions;
};

// "/run/marrow/tmp", mode 0700, made at the first call that does not fail.
class InMemoryTemporaryDirectory : public TemporaryDirectory {
 public:
  InMemoryTemporaryDirectory(Calls& calls, InMemoryFileSystem& fileSystem)
      : _calls(calls), _fileSystem(fileSystem) {}

  std::string path() override;

 private:
  Calls& _calls;
  InMemoryFileSystem& _fileSystem;
};

}  // namespace marrow
