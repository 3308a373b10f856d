// The service manager's notification socket, by the protocol of sd_notify(3).
#pragma once

#include <string>
#include <string_view>

namespace marrow {

// Sends one datagram to the socket at `address`, a path, or a name of the abstract namespace
// (unix(7)) that begins with "@". False with errno set. Waits one second at most.
bool sendServiceNotification(const std::string& address, std::string_view state);

}  // namespace marrow
