// Whether a machine runs on the processor itself or is translated.
#pragma once

#include "rehearsal/vm/vm_parts.h"

#include <string>

namespace marrow::rehearsal {

// "kvm" where the firmware is seen to start with it, otherwise "tcg", which takes several times as
// long. That /dev/kvm is there says little: inside another virtual machine it may fail at the first
// instruction that it does not know.
std::string findAccelerator(const VmParts& parts);

}  // namespace marrow::rehearsal
