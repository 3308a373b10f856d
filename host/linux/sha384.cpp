#include "host/linux/sha384.h"

#include <cstdint>
#include <sha2.h>
#include <sys/types.h>

namespace marrow {

NonceDigest sha384(std::string_view bytes) {
  NonceDigest digest{};
  static_assert(digest.size() == SHA384_DIGEST_LENGTH);
  SHA2_CTX context{};
  SHA384Init(&context);
  SHA384Update(&context, reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  SHA384Final(reinterpret_cast<std::uint8_t*>(digest.data()), &context);
  return digest;
}

}  // namespace marrow
