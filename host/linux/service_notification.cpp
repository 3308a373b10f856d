#include "host/linux/service_notification.h"

#include "host/linux/descriptor.h"
#include "host/linux/retry.h"
#include "host/linux/socket_address.h"

#include <cerrno>
#include <sys/socket.h>
#include <sys/time.h>

namespace marrow {

namespace {

constexpr timeval kPatience = {1, 0};

}  // namespace

bool sendServiceNotification(const std::string& address, std::string_view state) {
  sockaddr_un filled{};
  const socklen_t length = fillSocketAddress(address, filled);
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
