#include "host/linux/plymouth_connection.h"

#include "host/linux/retry.h"
#include "host/linux/socket_address.h"

#include <algorithm>
#include <cerrno>
#include <sys/socket.h>
#include <sys/time.h>

namespace marrow {

namespace {

constexpr timeval kSplashPatience = {1, 0};

constexpr char kPing = 'P';
constexpr char kChangeMode = 'C';
constexpr char kShowSplash = '$';
constexpr char kSystemUpdate = 'u';

constexpr char kArgumentFollows = '\2';
constexpr char kReceived = '\6';

// A connection, too, waits no longer than a write may (unix(7), socket(7)).
Descriptor makePatientSocket() {
  Descriptor made(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  for (const int option : {SO_SNDTIMEO, SO_RCVTIMEO}) {
    if (made && ::setsockopt(made.number(), SOL_SOCKET, option, &kSplashPatience,
                             sizeof(kSplashPatience)) != 0) {
      made.reset();
    }
  }
  return made;
}

// A time limit of a socket that has passed is told as EAGAIN.
int failedWait() { return errno == EAGAIN ? ETIMEDOUT : errno; }

}  // namespace

int PlymouthConnection::open(const std::string& address) {
  sockaddr_un place{};
  const socklen_t length = fillSocketAddress(address, place);
  if (length == 0) {
    return EINVAL;
  }
  _socket = makePatientSocket();
  if (!_socket) {
    return errno;
  }
  const int status = retryInterrupted([&] {
    return ::connect(_socket.number(), reinterpret_cast<const sockaddr*>(&place), length);
  });
  if (status != 0) {
    const int failure = failedWait();
    _socket.reset();
    return failure;
  }
  return request(kPing);
}

int PlymouthConnection::showSystemUpgrade() {
  const int status = request(kChangeMode, "system-upgrade");
  return status == 0 ? request(kShowSplash) : status;
}

int PlymouthConnection::setProgress(int percentage) {
  return request(kSystemUpdate, std::to_string(std::clamp(percentage, 0, 100)));
}

// A letter and a zero byte.
int PlymouthConnection::request(char kind) { return exchange({&kind, 1}); }

// A letter, the mark of an argument, the argument's length with its terminator, the argument.
int PlymouthConnection::request(char kind, std::string_view argument) {
  const auto length = static_cast<char>(argument.size() + 1);
  return exchange(std::string{kind, kArgumentFollows, length}.append(argument));
}

// The daemon reads a request without minding that it may come in pieces: it is sent, with its
// terminator, in one.
int PlymouthConnection::exchange(std::string_view request) {
  const std::string bytes = std::string(request) + '\0';
  const ssize_t sent = retryInterrupted(
      [&] { return ::send(_socket.number(), bytes.data(), bytes.size(), MSG_NOSIGNAL); });
  if (sent < 0) {
    return failedWait();
  }
  char answer = 0;
  const ssize_t received =
      retryInterrupted([&] { return ::recv(_socket.number(), &answer, 1, 0); });
  if (received < 0) {
    return failedWait();
  }
  if (received == 0) {
    return ECONNRESET;
  }
  return answer == kReceived ? 0 : EPROTO;
}

}  // namespace marrow
