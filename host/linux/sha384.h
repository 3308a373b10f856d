// SHA-384 through libcrypto, which is loaded when the first digest is asked for.
#pragma once

#include "host/boot_policy.h"

#include <string_view>

namespace marrow {

inline constexpr char kCryptoLibrary[] = "libcrypto.so.3";

// 0 and the digest of the bytes, or an errno value: ELIBACC when the library, or what is needed of
// it, is missing, EIO when it fails. Any thread.
int sha384(const char* library, std::string_view bytes, NonceDigest& digest);

}  // namespace marrow
