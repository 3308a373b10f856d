// Words of QEMU's control protocol: JSON objects, one a line (QEMU's docs/interop/qmp-spec.txt).
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace marrow::rehearsal {

struct QmpMessage {
  enum class Kind { kGreeting, kEvent, kReturn, kError };
  Kind kind = Kind::kReturn;
  // Of an event: its name, and why it came, as far as it says ("guest-reset", "host-signal").
  std::string event;
  std::string reason;
  // Of an answer: the number of its command; of an error, what was wrong.
  std::optional<std::uint64_t> command;
  std::string description;
};

// Nothing when the line is none of these.
std::optional<QmpMessage> qmpMessageFrom(const std::string& line);

// A command with its line end.
std::string qmpCommand(std::uint64_t number, const std::string& name,
                       const std::map<std::string, std::string>& arguments = {});

}  // namespace marrow::rehearsal
