// The firmware's variables as files of efivarfs (Linux, Documentation/filesystems/efivarfs.rst), or
// of a plain directory with files of the same form. A file NAME-VENDOR holds four bytes of
// attributes, little-endian, and then the value. Any thread; writers take turns. Where the machine
// has no such store every call fails with ENODEV, and the log is told once.
#pragma once

#include "host/linux/missing_service.h"
#include "host/log.h"

#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace marrow {

inline constexpr char kEFIVariablesRoot[] = "/sys/firmware/efi/efivars";

// The vendor of this system's own variables, and of the boot loader interface.
inline constexpr char kMarrowVendor[] = "9274182a-2c1f-4ede-a8dc-3f77fe34eb9b";
inline constexpr char kBootLoaderVendor[] = "4a67b082-0a4c-41cf-b6c7-440b29bb8c4f";

struct EFIVariableName {
  std::string name;
  std::string vendor = kMarrowVendor;  // a GUID in text form; compared without regard to case
};

class EFIVariableStore {
 public:
  explicit EFIVariableStore(LogHandle& log, std::string root = kEFIVariablesRoot);

  // The value's bytes. Absent with errno set: ENOENT when there is no such variable (a file without
  // a value is none), otherwise what the read gave.
  std::optional<std::string> read(const EFIVariableName& variable);

  // Stores a value, non-volatile and visible to boot and run time; a variable that holds just this
  // already is not written again. An empty value is no variable: it deletes. 0, or an errno value;
  // then the variable is as it was (ENOTRECOVERABLE: it is not). Not durable before sync().
  int write(const EFIVariableName& variable, std::string_view value);

  // 0, also when there is no such variable; otherwise an errno value.
  int remove(const EFIVariableName& variable);

  // Makes what was stored durable. efivarfs has written it through already; on any other file
  // system, a sync of it. 0, or an errno value.
  int sync();

 private:
  std::optional<std::string> locate(const EFIVariableName& variable);
  int presence();

  std::string _root;
  MissingService _missing;
  std::mutex _mutex;  // held while a variable is written or removed
};

}  // namespace marrow
