// What a virtual machine is put together from, as tools/vm-parts leaves it.
#pragma once

#include "rehearsal/scenario.h"

#include <filesystem>
#include <string>

namespace marrow::rehearsal {

struct VmParts {
  std::filesystem::path kernel;
  std::filesystem::path baseSystem;
  std::filesystem::path agentSystem;
  // From Debian's packages systemd-boot-efi and ovmf.
  std::filesystem::path loader = "/usr/lib/systemd/boot/efi/systemd-bootx64.efi";
  std::filesystem::path firmware = "/usr/share/OVMF/OVMF_CODE_4M.fd";
  std::filesystem::path firmwareVariables = "/usr/share/OVMF/OVMF_VARS_4M.fd";
};

// In that folder, or in vm/ beside the folder of this program, with the base system that the
// scenario needs. Throws the Problem that says how to make what is missing, or which package brings
// it.
VmParts findVmParts(const std::filesystem::path& folder, const Scenario& scenario);

}  // namespace marrow::rehearsal
