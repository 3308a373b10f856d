// Whether a volume is encrypted with LUKS2. Any thread.
#pragma once

#include <string>

namespace marrow {

// 0, or the errno value of what cannot be opened or read. `found` is true where either copy of a
// LUKS2 header shows its sign, whole or damaged (libblkid).
int probeLUKS2(const std::string& node, bool& found);

}  // namespace marrow
