// The kernel's own events about devices, from a netlink socket (netlink(7),
// NETLINK_KOBJECT_UEVENT), so that they arrive whether or not udev runs. One thread.
#pragma once

#include "host/linux/descriptor.h"

#include <optional>
#include <string>

namespace marrow {

struct BlockDeviceEvent {
  enum class Kind { present, gone, lost };  // lost: events were dropped; anything may have changed
  Kind kind = Kind::present;
  std::string name;  // the kernel's; empty for lost events
};

class KernelEvents {
 public:
  // False with errno set when the socket cannot be had; then no event ever comes.
  bool open();

  // Readable when an event is there.
  int descriptor() const { return _socket.number(); }

  // The next event of a block device; absent when there is none now.
  std::optional<BlockDeviceEvent> next();

 private:
  Descriptor _socket;
};

}  // namespace marrow
