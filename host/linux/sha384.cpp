#include "host/linux/sha384.h"

#include <cerrno>
#include <dlfcn.h>
#include <openssl/evp.h>

namespace marrow {

namespace {

template <typename Function>
Function find(void* library, const char* name) {
  return reinterpret_cast<Function>(::dlsym(library, name));
}

}  // namespace

// The library stays loaded: it runs code of its own when the process ends.
int sha384(const char* library, std::string_view bytes, NonceDigest& digest) {
  void* crypto = ::dlopen(library, RTLD_NOW | RTLD_LOCAL);
  if (crypto == nullptr) {
    return ELIBACC;
  }
  const auto compute = find<decltype(&EVP_Digest)>(crypto, "EVP_Digest");
  const auto algorithm = find<decltype(&EVP_sha384)>(crypto, "EVP_sha384");
  if (compute == nullptr || algorithm == nullptr) {
    return ELIBACC;
  }
  NonceDigest result{};
  unsigned int length = 0;
  const bool computed =
      compute(bytes.data(), bytes.size(), reinterpret_cast<unsigned char*>(result.data()), &length,
              algorithm(), nullptr) == 1;
  if (!computed || length != result.size()) {
    return EIO;
  }
  digest = result;
  return 0;
}

}  // namespace marrow
