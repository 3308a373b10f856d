// Kernel variables are words of the kernel's command line.
#pragma once

#include "host/kernel_variables.h"

#include <string>

namespace marrow {

class LinuxKernelVariables final : public KernelVariables {
 public:
  explicit LinuxKernelVariables(std::string commandLine = "/proc/cmdline")
      : _commandLine(std::move(commandLine)) {}

  std::optional<std::string> string(const char* name) override;

 private:
  std::string _commandLine;
};

}  // namespace marrow
