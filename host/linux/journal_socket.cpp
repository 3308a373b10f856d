#include "host/linux/journal_socket.h"

#include "host/linux/retry.h"
#include "host/linux/sealed_memory.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <poll.h>
#include <sys/un.h>

namespace marrow {

namespace {

// What a send fails with when whoever read the socket has closed it (unix(7)).
bool hasLostItsReader(int errorNumber) {
  return errorNumber == ECONNREFUSED || errorNumber == ECONNRESET || errorNumber == ENOTCONN ||
         errorNumber == EPIPE;
}

// None, with errno set, where nobody reads the socket at that path.
Descriptor connectTo(const std::string& path) {
  sockaddr_un address{};
  if (path.size() >= sizeof(address.sun_path)) {
    errno = ENAMETOOLONG;
    return {};
  }
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.data(), path.size());
  Descriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  const auto connect = [&] {
    return ::connect(socket.number(), reinterpret_cast<const sockaddr*>(&address), sizeof(address));
  };
  if (socket && retryInterrupted(connect) != 0) {
    socket.reset();
  }
  return socket;
}

}  // namespace

JournalAnswer JournalSocket::send(std::string_view entry) {
  const std::lock_guard lock(_mutex);
  const auto patience = _waitedInVain ? std::chrono::milliseconds::zero() : _patience;
  const auto deadline = std::chrono::steady_clock::now() + patience;
  bool taken = ensureConnected() && deliver(entry, deadline);
  if (!taken && _socket && hasLostItsReader(errno)) {
    _socket.reset();
    taken = ensureConnected() && deliver(entry, deadline);
  }
  if (taken) {
    return JournalAnswer::taken;
  }
  return _wasThere || errno != ENOENT ? JournalAnswer::refused : JournalAnswer::absent;
}

bool JournalSocket::ensureConnected() {
  if (!_socket) {
    _socket = connectTo(_path);
    _wasThere = _wasThere || _socket;
  }
  return static_cast<bool>(_socket);
}

bool JournalSocket::deliver(std::string_view entry, Deadline deadline) {
  iovec payload{const_cast<char*>(entry.data()), entry.size()};
  msghdr message{};
  message.msg_iov = &payload;
  message.msg_iovlen = 1;
  return transmit(message, deadline) ||
         ((errno == EMSGSIZE || errno == ENOBUFS) && deliverInMemory(entry, deadline));
}

// What is too large for a datagram comes as a file in memory, attached to an empty one.
bool JournalSocket::deliverInMemory(std::string_view entry, Deadline deadline) {
  const Descriptor file = makeSealedMemory("marrow-journal-entry", entry);
  if (!file) {
    return false;
  }
  alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
  msghdr message{};
  message.msg_control = control.data();
  message.msg_controllen = control.size();
  cmsghdr* const header = CMSG_FIRSTHDR(&message);
  header->cmsg_level = SOL_SOCKET;
  header->cmsg_type = SCM_RIGHTS;
  header->cmsg_len = CMSG_LEN(sizeof(int));
  const int number = file.number();
  std::memcpy(CMSG_DATA(header), &number, sizeof(number));
  return transmit(message, deadline);
}

bool JournalSocket::transmit(const msghdr& message, Deadline deadline) {
  const auto send = [&] {
    return ::sendmsg(_socket.number(), &message, MSG_DONTWAIT | MSG_NOSIGNAL);
  };
  while (retryInterrupted(send) < 0) {
    if (errno != EAGAIN) {
      return false;
    }
    if (!awaitRoom(deadline)) {
      _waitedInVain = true;
      errno = ETIMEDOUT;
      return false;
    }
  }
  return true;
}

// False when the deadline has passed. A connected socket counts as writable while its reader has
// room (unix(7)).
bool JournalSocket::awaitRoom(Deadline deadline) const {
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
  if (left.count() <= 0) {
    return false;
  }
  pollfd waiting{_socket.number(), POLLOUT, 0};
  ::poll(&waiting, 1, static_cast<int>(left.count()));
  return true;
}

}  // namespace marrow
