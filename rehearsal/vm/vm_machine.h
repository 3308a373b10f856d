// A virtual machine that is put together once and can be started, copied and looked at: its disk
// and its firmware variables, in files without names, which are gone when nobody has them open.
#pragma once

#include "rehearsal/boot_disk.h"
#include "rehearsal/descriptor.h"
#include "rehearsal/vm/qemu.h"
#include "rehearsal/vm/vm_parts.h"

namespace marrow::rehearsal {

class VmMachine {
 public:
  // With an empty disk and the firmware variables of a new machine. Throws Problem.
  explicit VmMachine(const VmParts& parts);

  // As it is now. It must not be running.
  VmMachine copy() const;

  // Puts what the other's disk holds in the place of its own.
  void takeDiskOf(const VmMachine& other);

  std::filesystem::path disk() const;
  std::filesystem::path firmwareVariables() const;

  // To start it from its disk.
  QemuSettings settings(const std::string& accelerator) const;

 private:
  VmMachine(const VmParts& parts, int disk, int firmwareVariables);

  const VmParts* _parts;
  Descriptor _disk;
  Descriptor _firmwareVariables;
};

}  // namespace marrow::rehearsal
