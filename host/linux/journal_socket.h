// The socket of the journal (systemd-journald(8)), by its native protocol:
// https://systemd.io/JOURNAL_NATIVE_PROTOCOL. libsystemd is not asked: it waits without end for a
// journal that does not read, and says that an entry was taken where there is no journal at all.
#pragma once

#include "host/linux/descriptor.h"

#include <chrono>
#include <mutex>
#include <string>
#include <string_view>
#include <sys/socket.h>

namespace marrow {

inline constexpr char kJournalSocket[] = "/run/systemd/journal/socket";

enum class JournalAnswer {
  taken,
  absent,   // there is no journal, and was none when it was asked before
  refused,  // there is one, or was, which does not take the entry; errno says why
};

// Any thread.
class JournalSocket {
 public:
  explicit JournalSocket(std::string path,
                         std::chrono::milliseconds patience = std::chrono::seconds(1))
      : _path(std::move(path)), _patience(patience) {}

  // Hands an entry over. A journal whose queue is full is waited for as long as the patience goes,
  // together with callers on other threads; when that was in vain (ETIMEDOUT), never again: from
  // then on it gets what it has room for at once. A journal that was started anew is found again.
  // May change errno.
  JournalAnswer send(std::string_view entry);

 private:
  using Deadline = std::chrono::steady_clock::time_point;

  bool ensureConnected();
  bool deliver(std::string_view entry, Deadline deadline);
  bool deliverInMemory(std::string_view entry, Deadline deadline);
  bool transmit(const msghdr& message, Deadline deadline);
  bool awaitRoom(Deadline deadline) const;

  const std::string _path;
  const std::chrono::milliseconds _patience;
  std::mutex _mutex;
  Descriptor _socket;
  bool _wasThere = false;
  bool _waitedInVain = false;
};

}  // namespace marrow
