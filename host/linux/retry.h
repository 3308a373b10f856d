// System calls that a signal may cut short.
#pragma once

#include <cerrno>

namespace marrow {

// Repeats the call for as long as it fails with EINTR (signal(7)). Not for close(2), which on Linux
// has let go of the descriptor even then.
template <typename Call>
auto retryInterrupted(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) {
    result = call();
  }
  return result;
}

}  // namespace marrow
