// The programs of mount_gate.bpf.c as they were compiled: an ELF file for libbpf.
#pragma once

#include <cstddef>

namespace marrow {

extern const unsigned char kMountGateObject[];
extern const std::size_t kMountGateObjectSize;

}  // namespace marrow
