#include "host/linux/linux_kernel_variables.h"

#include "host/linux/kernel_command_line.h"
#include "host/linux/small_file.h"

#include <cerrno>

namespace marrow {

std::optional<std::string> LinuxKernelVariables::string(const char* name) {
  const auto commandLine = readSmallFile(_commandLine);
  if (!commandLine) {
    return std::nullopt;
  }
  auto value = kernelParameter(*commandLine, name);
  if (!value) {
    errno = ENOENT;
  }
  return value;
}

}  // namespace marrow
