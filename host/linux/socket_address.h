// Addresses of local sockets in text form, unix(7).
#pragma once

#include <string>
#include <sys/socket.h>
#include <sys/un.h>

namespace marrow {

// Fills in the address of a path, or of a name of the abstract namespace that begins with "@". The
// address' length, which is part of an abstract name; 0 when the text is no such address, or is too
// long for one.
socklen_t fillSocketAddress(const std::string& text, sockaddr_un& address);

}  // namespace marrow
