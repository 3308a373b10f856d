#include "host/linux/kernel_events.h"

#include <array>
#include <cerrno>
#include <linux/netlink.h>
#include <string_view>
#include <sys/socket.h>
#include <utility>

namespace marrow {

namespace {

// The group that the kernel sends to; udev sends its own events to another one.
constexpr unsigned kKernelGroup = 1;

// Room for the events of a machine full of disks; the socket's default holds a few hundred.
constexpr int kReceiveBuffer = 8 << 20;

// lib/kobject_uevent.c: at most UEVENT_BUFFER_SIZE bytes of text behind the head.
constexpr std::size_t kMessageLimit = 8192;

// "ACTION@DEVPATH", then KEY=VALUE pairs, each ended by a zero byte.
std::string_view valueOf(std::string_view message, std::string_view key) {
  for (std::size_t at = 0; at < message.size();) {
    const std::size_t end = message.find('\0', at);
    const auto pair = message.substr(at, end - at);
    if (pair.starts_with(key)) {
      return pair.substr(key.size());
    }
    if (end == std::string_view::npos) {
      break;
    }
    at = end + 1;
  }
  return {};
}

std::optional<BlockDeviceEvent> parse(std::string_view message) {
  if (valueOf(message, "SUBSYSTEM=") != "block") {
    return std::nullopt;
  }
  const auto path = valueOf(message, "DEVPATH=");
  const bool gone = valueOf(message, "ACTION=") == "remove";
  return BlockDeviceEvent{gone ? BlockDeviceEvent::Kind::gone : BlockDeviceEvent::Kind::present,
                          std::string(path.substr(path.rfind('/') + 1))};
}

}  // namespace

bool KernelEvents::open() {
  Descriptor opened(
      ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_KOBJECT_UEVENT));
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_groups = kKernelGroup;
  if (!opened || ::bind(opened.number(), reinterpret_cast<sockaddr*>(&address),  // NOLINT
                        sizeof(address)) != 0) {
    return false;
  }
  ::setsockopt(opened.number(), SOL_SOCKET, SO_RCVBUFFORCE, &kReceiveBuffer,
               sizeof(kReceiveBuffer));
  _socket = std::move(opened);
  return true;
}

std::optional<BlockDeviceEvent> KernelEvents::next() {
  std::array<char, kMessageLimit> buffer{};
  while (true) {
    sockaddr_nl sender{};
    socklen_t senderSize = sizeof(sender);
    const ssize_t size = ::recvfrom(_socket.number(), buffer.data(), buffer.size(), 0,
                                    reinterpret_cast<sockaddr*>(&sender), &senderSize);  // NOLINT
    if (size < 0 && errno == ENOBUFS) {
      return BlockDeviceEvent{BlockDeviceEvent::Kind::lost, {}};
    }
    if (size < 0 && errno != EINTR) {
      return std::nullopt;
    }
    // Programs may send to the group too; the kernel's port is 0.
    if (size > 0 && sender.nl_pid == 0) {
      if (auto event = parse({buffer.data(), static_cast<std::size_t>(size)})) {
        return event;
      }
    }
  }
}

}  // namespace marrow
