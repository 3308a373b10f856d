// A journal of a test's own: a socket that reads the native protocol
// (https://systemd.io/JOURNAL_NATIVE_PROTOCOL) when the test asks it to.
#pragma once

#include "host/linux/descriptor.h"
#include "tests/linux/system/journal_entries.h"

#include <optional>
#include <string>

namespace marrow {

class JournalReceiver {
 public:
  // Listens at the path, which must not exist.
  explicit JournalReceiver(std::string path);
  JournalReceiver(const JournalReceiver&) = delete;
  JournalReceiver& operator=(const JournalReceiver&) = delete;
  ~JournalReceiver() { end(); }

  // The oldest entry that was not read yet; none when there is none.
  std::optional<JournalFields> next();

  // True when the last entry came as a file in memory with every seal.
  bool lastWasSealed() const { return _lastWasSealed; }

  // Closes and removes the socket.
  void end();

 private:
  std::string _path;
  Descriptor _socket;
  bool _lastWasSealed = false;
};

}  // namespace marrow
