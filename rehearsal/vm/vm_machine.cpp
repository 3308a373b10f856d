#include "rehearsal/vm/vm_machine.h"

#include "rehearsal/files.h"
#include "rehearsal/problem.h"
#include "rehearsal/workplace.h"

#include <fcntl.h>
#include <unistd.h>

namespace marrow::rehearsal {
namespace {

Descriptor copyOf(int file) {
  Descriptor copy = makeNamelessFile();
  copySparse(file, copy.number());
  return copy;
}

}  // namespace

VmMachine::VmMachine(const VmParts& parts)
    : _parts(&parts),
      _disk(makeNamelessFile()),
      _firmwareVariables(copyOf(openFile(parts.firmwareVariables, O_RDONLY).number())) {}

VmMachine::VmMachine(const VmParts& parts, int disk, int firmwareVariables)
    : _parts(&parts), _disk(copyOf(disk)), _firmwareVariables(copyOf(firmwareVariables)) {}

VmMachine VmMachine::copy() const { return {*_parts, _disk.number(), _firmwareVariables.number()}; }

void VmMachine::takeDiskOf(const VmMachine& other) {
  checked(::ftruncate(_disk.number(), 0), "empty a disk image");
  copySparse(other._disk.number(), _disk.number());
}

std::filesystem::path VmMachine::disk() const { return pathOfDescriptor(_disk.number()); }

std::filesystem::path VmMachine::firmwareVariables() const {
  return pathOfDescriptor(_firmwareVariables.number());
}

QemuSettings VmMachine::settings(const std::string& accelerator) const {
  return {.accelerator = accelerator,
          .firmware = _parts->firmware,
          .firmwareVariables = firmwareVariables(),
          .disk = disk()};
}

}  // namespace marrow::rehearsal
