#include "host/linux/service_notification.h"

#include "host/linux/descriptor.h"
#include "host/linux/retry.h"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

namespace marrow {

namespace {

constexpr timeval kPatience = {1, 0};

// The length of the filled-in address, or 0 when it is none. The name of an abstract socket begins
// with a zero byte and is as long as the address says (unix(7)).
socklen_t fillAddress(const std::string& address, sockaddr_un& filled) {
  const bool known = !address.empty() && (address.front() == '/' || address.front() == '@');
  if (!known || address.size() >= sizeof(filled.sun_path)) {
    return 0;
  }
  filled.sun_family = AF_UNIX;
  std::memcpy(filled.sun_path, address.data(), address.size());
  if (address.front() == '@') {
    filled.sun_path[0] = '\0';
  }
  return static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + address.size());
}

}  // namespace

bool sendServiceNotification(const std::string& address, std::string_view state) {
  sockaddr_un filled{};
  const socklen_t length = fillAddress(address, filled);
  if (length == 0) {
    errno = EINVAL;
    return false;
  }
  const Descriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!socket) {
    return false;
  }
  ::setsockopt(socket.number(), SOL_SOCKET, SO_SNDTIMEO, &kPatience, sizeof(kPatience));
  return retryInterrupted([&] {
           return ::sendto(socket.number(), state.data(), state.size(), MSG_NOSIGNAL,
                           reinterpret_cast<const sockaddr*>(&filled), length);
         }) >= 0;
}

}  // namespace marrow
