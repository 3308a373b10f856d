// Units of the sizes on a disk.
#pragma once

#include <cstdint>

namespace marrow::rehearsal {

// In bytes.
inline constexpr std::uint64_t kMebibyte = 1U << 20U;

}  // namespace marrow::rehearsal
