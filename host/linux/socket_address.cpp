#include "host/linux/socket_address.h"

#include <cstddef>
#include <cstring>

namespace marrow {

socklen_t fillSocketAddress(const std::string& text, sockaddr_un& address) {
  const bool known = !text.empty() && (text.front() == '/' || text.front() == '@');
  if (!known || text.size() >= sizeof(address.sun_path)) {
    return 0;
  }
  address = {};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, text.data(), text.size());
  if (text.front() == '@') {
    address.sun_path[0] = '\0';
  }
  return static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + text.size());
}

}  // namespace marrow
