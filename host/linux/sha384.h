// SHA-384 (FIPS 180-4).
#pragma once

#include "host/boot_policy.h"

#include <string_view>

namespace marrow {

// Any thread.
NonceDigest sha384(std::string_view bytes);

}  // namespace marrow
