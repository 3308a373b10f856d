// The boot splash, by the protocol of its daemon plymouthd (ply-boot-protocol.h of plymouth).
#pragma once

#include "host/linux/descriptor.h"

#include <string>
#include <string_view>

namespace marrow {

// A name of the abstract namespace, told as fillSocketAddress takes it.
inline constexpr char kPlymouthAddress[] = "@/org/freedesktop/plymouthd";

// Each call waits for one answer at most a second for each request that it makes, and gives 0 or an
// errno value: ETIMEDOUT when the daemon does not answer, ECONNRESET when it has gone, EPROTO when
// it answers something else than that it received the request. One thread at a time.
class PlymouthConnection {
 public:
  // ECONNREFUSED (ENOENT for a path) when no daemon listens.
  int open(const std::string& address);

  // Brings the splash up, in the look that it has for the upgrade of a system.
  int showSystemUpgrade();

  // `percentage` is from 0 to 100: the daemon takes any other for 0.
  int setProgress(int percentage);

 private:
  int request(char kind);
  int request(char kind, std::string_view argument);
  int exchange(std::string_view request);

  Descriptor _socket;
};

}  // namespace marrow
